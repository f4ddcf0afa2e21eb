#include "sim/httpdevice/media/Timeline.h"

#include <algorithm>

namespace vms::sim::httpdevice {

namespace {

constexpr int64_t kDay = 86'400;
constexpr int64_t kQuietStart = 2 * 3600;
constexpr int64_t kQuietEnd = 4 * 3600;

int64_t FloorTo(int64_t value, int64_t step) {
    return value - (value % step + step) % step;
}

bool IsOfType(int fileType, int mask) {
    return mask == 0 || (fileType & mask) != 0;
}

int64_t BeginOf(const Timeline::Plan& plan) {
    return std::max<int64_t>(0, FloorTo(plan.until, kDay) - (plan.days - 1) * kDay);
}

int64_t EndOf(const Timeline::Plan& plan) {
    return plan.days <= 0 ? 0 : FloorTo(plan.until, plan.pieceSeconds);
}

}  // namespace

Timeline::Timeline(const Plan& plan) : plan_(plan), begin_(BeginOf(plan)), end_(EndOf(plan)) {}

bool Timeline::IsRecorded(int64_t pieceStart) const {
    if (pieceStart < begin_ || pieceStart >= end_)
        return false;
    const int64_t inDay = pieceStart % kDay;
    if (inDay >= kQuietStart && inDay < kQuietEnd)
        return false;
    const int64_t age = (FloorTo(plan_.until, kDay) - FloorTo(pieceStart, kDay)) / kDay;
    return age < 2 || (pieceStart / kDay + plan_.channel) % 5 != 4;
}

RecordedPiece Timeline::PieceAt(int64_t pieceStart) const {
    const int64_t number = pieceStart / plan_.pieceSeconds + plan_.channel;
    int type = 1;
    if (number % 11 == 5)
        type = 16;
    else if (number % 7 == 3)
        type = 2;
    const int64_t bytes = plan_.pieceSeconds * plan_.bytesPerSecond;
    return {pieceStart, pieceStart + plan_.pieceSeconds, type, std::min<int64_t>(bytes, INT32_MAX)};
}

std::optional<RecordedPiece> Timeline::Matching(int64_t pieceStart, int fileType) const {
    if (!IsRecorded(pieceStart))
        return std::nullopt;
    const RecordedPiece piece = PieceAt(pieceStart);
    if (!IsOfType(piece.fileType, fileType))
        return std::nullopt;
    return piece;
}

std::vector<RecordedPiece> Timeline::Search(int64_t start, int64_t end, int fileType, size_t skip,
                                            size_t limit, size_t& total) const {
    std::vector<RecordedPiece> found;
    total = 0;
    const int64_t last = std::min(end, end_);
    int64_t at = std::max(FloorTo(start, plan_.pieceSeconds), FloorTo(begin_, plan_.pieceSeconds));
    for (; at < last; at += plan_.pieceSeconds) {
        const auto piece = Matching(at, fileType);
        if (!piece)
            continue;
        if (total >= skip && found.size() < limit)
            found.push_back(*piece);
        ++total;
    }
    return found;
}

std::optional<int64_t> Timeline::NextRecorded(int64_t milliseconds, int64_t endMs,
                                              int fileType) const {
    int64_t at = FloorTo(FloorTo(milliseconds, 1000) / 1000, plan_.pieceSeconds);
    for (at = std::max(at, begin_); at < end_ && at * 1000 < endMs; at += plan_.pieceSeconds) {
        if (Matching(at, fileType))
            return std::max(milliseconds, at * 1000);
    }
    return std::nullopt;
}

}  // namespace vms::sim::httpdevice
