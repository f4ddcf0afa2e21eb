#include "host/stream/SendQueue.h"

#include <utility>

namespace vms {

SendQueue::Outcome SendQueue::PushLive(Payload unit, Time now) {
    const UnitKind kind = KindOfUnit(unit->data(), unit->size());
    MutexLock lock(mutex_);
    if (closed_)
        return {SendVerdict::closed};
    const bool overBound = IsOverBound(now);
    if (overBound && now - *overSince_ >= limits_.patience)
        return {SendVerdict::tooSlow};
    if (!MayGo(kind, overBound)) {
        ++counts_.droppedUnits;
        return {SendVerdict::dropped};
    }
    return Append(std::move(unit), false);
}

SendQueue::Outcome SendQueue::PushPlayback(Payload unit) {
    MutexLock lock(mutex_);
    return AppendUnlessFull(std::move(unit), false);
}

SendQueue::Outcome SendQueue::PushText(Payload text) {
    MutexLock lock(mutex_);
    return AppendUnlessFull(std::move(text), true);
}

std::optional<SendQueue::Message> SendQueue::Take() {
    MutexLock lock(mutex_);
    if (messages_.empty()) {
        writerRests_ = true;
        return std::nullopt;
    }
    Message message = std::move(messages_.front());
    messages_.pop_front();
    counts_.queuedBytes -= message.bytes->size();
    counts_.sentBytes += message.bytes->size();
    if (!message.text) {
        --counts_.queuedUnits;
        ++counts_.sentUnits;
    }
    return message;
}

void SendQueue::Close() {
    std::deque<Message> forgotten;
    MutexLock lock(mutex_);
    closed_ = true;
    forgotten.swap(messages_);
    counts_.queuedBytes = 0;
    counts_.queuedUnits = 0;
}

SendQueue::Counts SendQueue::Count() const {
    MutexLock lock(mutex_);
    return counts_;
}

size_t SendQueue::QueuedUnits() const {
    MutexLock lock(mutex_);
    return counts_.queuedUnits;
}

bool SendQueue::IsOverBound(Time now) {
    const bool over =
        counts_.queuedBytes >= limits_.liveBytes || counts_.queuedUnits >= limits_.liveUnits;
    if (!over)
        overSince_.reset();
    else if (!overSince_)
        overSince_ = now;
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

SendQueue::Outcome SendQueue::AppendUnlessFull(Payload bytes, bool text) {
    if (closed_)
        return {SendVerdict::closed};
    if (counts_.queuedBytes >= limits_.playbackBytes)
        return {SendVerdict::tooSlow};
    return Append(std::move(bytes), text);
}

SendQueue::Outcome SendQueue::Append(Payload bytes, bool text) {
    counts_.queuedBytes += bytes->size();
    if (!text)
        ++counts_.queuedUnits;
    messages_.push_back({std::move(bytes), text});
    return {SendVerdict::queued, std::exchange(writerRests_, false)};
}

}  // namespace vms
