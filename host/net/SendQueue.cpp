#include "host/net/SendQueue.h"

#include <utility>

namespace vms::host {

void SendQueue::Push(Frame frame) {
    CountQueued(frame);
    frames_.push_back(std::move(frame));
}

void SendQueue::PushFront(Frame frame) {
    CountQueued(frame);
    frames_.push_front(std::move(frame));
}

size_t SendQueue::ControlCost(const Frame& frame) {
    return frame.chunk.body.size() + kFrameCost;
}

void SendQueue::CountQueued(const Frame& frame) {
    const size_t bytes = frame.chunk.body.size();
    counts_.queuedBytes += bytes;
    if (frame.IsUnit())
        ++counts_.queuedUnits;
    if (frame.what == Class::kPrelude) {
        preludeBytes_ += bytes;
        ++preludeUnits_;
    } else if (frame.what == Class::kControl) {
        controlBytes_ += ControlCost(frame);
    }
}

void SendQueue::Pop() {
    const Frame& frame = frames_.front();
    const size_t bytes = frame.chunk.body.size();
    counts_.queuedBytes -= bytes;
    if (frame.IsUnit())
        --counts_.queuedUnits;
    if (frame.what == Class::kPrelude) {
        preludeBytes_ -= bytes;
        --preludeUnits_;
    } else if (frame.what == Class::kControl) {
        controlBytes_ -= ControlCost(frame);
    }
    CountSent(bytes, frame.IsUnit());
    frames_.pop_front();
}

void SendQueue::Clear() {
    frames_.clear();
    counts_.queuedBytes = preludeBytes_ = controlBytes_ = 0;
    counts_.queuedUnits = preludeUnits_ = 0;
}

void SendQueue::CountSent(size_t bodyBytes, bool isUnit) {
    counts_.sentBytes += bodyBytes;
    if (isUnit)
        ++counts_.sentUnits;
}

}  // namespace vms::host
