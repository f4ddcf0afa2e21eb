#include "media/rtp/RtpLine.h"

#include <algorithm>

namespace vms {
namespace {

constexpr int64_t kUsPerMs = 1000;
constexpr int64_t kStep = 40'000;    ///< from one side of a jump to the other, us
constexpr int64_t kLeadInStep = 12;  ///< so that each picture has a timestamp of its own, us

}  // namespace

int64_t RtpLine::Begin(int64_t startMs, double scale) {
    pivotMs_ = unitMs_ = startMs;
    pivotUs_ = newestUs_ + kStep + kLeadIn;
    newestUs_ = pivotUs_;
    scale_ = scale;
    begun_ = true;
    leadsIn_ = true;
    leadInUnits_ = 0;
    return pivotUs_;
}

RtpLine::Place RtpLine::Of(uint32_t timestampMs) {
    if (!begun_) {
        begun_ = true;
        pivotMs_ = unitMs_ = timestampMs;
    }
    unitMs_ += static_cast<int32_t>(timestampMs - static_cast<uint32_t>(unitMs_));  // it wraps
    if (leadsIn_ && unitMs_ < pivotMs_) {
        const int64_t before = std::max(kLeadIn - kLeadInStep * leadInUnits_++, kLeadInStep);
        return {pivotUs_ - before, leadInUnits_ == 1, true};
    }
    return Follow();
}

RtpLine::Place RtpLine::Follow() {
    const auto distance =
        static_cast<int64_t>(static_cast<double>((unitMs_ - pivotMs_) * kUsPerMs) / scale_);
    int64_t due = pivotUs_ + distance;
    const bool isFirst = leadsIn_;
    leadsIn_ = false;
    const bool isJump = due < newestUs_ - kBackward || due > newestUs_ + forward_;
    if (isJump) {
        pivotMs_ = unitMs_;
        pivotUs_ = isFirst ? pivotUs_ : newestUs_ + kStep;
        due = pivotUs_;
    }
    newestUs_ = std::max(newestUs_, due);
    return {due, isJump || (isFirst && leadInUnits_ == 0), false};
}

}  // namespace vms
