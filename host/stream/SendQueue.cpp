#include "host/stream/SendQueue.h"

#include <utility>

namespace vms {

SendVerdict SendQueue::AdmitLive(UnitKind kind) {
    const bool overBound = IsOverBound();
    if (overBound && now_() - *overSince_ >= limits_.patience)
        return SendVerdict::tooSlow;
    if (MayGo(kind, overBound))
        return SendVerdict::accepted;
    ++counts_.droppedUnits;
    return SendVerdict::dropped;
}

SendVerdict SendQueue::AdmitWhole() const {
    return counts_.queuedBytes >= limits_.playbackBytes ? SendVerdict::tooSlow
                                                        : SendVerdict::accepted;
}

void SendQueue::Push(Frame frame) {
    CountQueued(frame);
    frames_.push_back(std::move(frame));
}

void SendQueue::PushFront(Frame frame) {
    CountQueued(frame);
    frames_.push_front(std::move(frame));
}

void SendQueue::CountQueued(const Frame& frame) {
    counts_.queuedBytes += frame.payload->size();
    if (frame.isUnit)
        ++counts_.queuedUnits;
}

void SendQueue::Pop() {
    const Frame& frame = frames_.front();
    counts_.queuedBytes -= frame.payload->size();
    if (frame.isUnit)
        --counts_.queuedUnits;
    CountSent(frame.payload->size(), frame.isUnit);
    frames_.pop_front();
}

void SendQueue::Clear() {
    frames_.clear();
    counts_.queuedBytes = 0;
    counts_.queuedUnits = 0;
}

void SendQueue::CountSent(size_t payloadBytes, bool isUnit) {
    counts_.sentBytes += payloadBytes;
    if (isUnit)
        ++counts_.sentUnits;
}

bool SendQueue::IsOverBound() {
    const bool over =
        counts_.queuedBytes >= limits_.liveBytes || counts_.queuedUnits >= limits_.liveUnits;
    if (!over)
        overSince_.reset();
    else if (!overSince_)
        overSince_ = now_();
    return over;
}

bool SendQueue::MayGo(UnitKind kind, bool overBound) {
    if (kind == UnitKind::other)
        return !overBound;
    if (overBound)
        waitsForKey_ = true;
    else if (kind == UnitKind::keyPicture)
        waitsForKey_ = false;
    return !waitsForKey_;
}

}  // namespace vms
