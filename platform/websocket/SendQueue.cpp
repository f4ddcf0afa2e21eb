#include "platform/websocket/SendQueue.h"

#include <utility>

namespace vms {
namespace {

/// What an entry takes beside its text, so that countless empty ones are bounded too.
constexpr std::size_t kEntryBytes = 64;

}  // namespace

SendQueue::Push SendQueue::Add(std::string_view text) {
    std::string copy(text);
    MutexLock lock(mutex_);
    if (bytes_ + text.size() + kEntryBytes > maxBytes_)
        return Push::kFull;
    texts_.push_back(std::move(copy));
    bytes_ += text.size() + kEntryBytes;
    return std::exchange(writing_, true) ? Push::kQueued : Push::kWakeWriter;
}

bool SendQueue::Take(std::string& text) {
    MutexLock lock(mutex_);
    if (texts_.empty()) {
        writing_ = false;
        return false;
    }
    text = std::move(texts_.front());
    texts_.pop_front();
    bytes_ -= text.size() + kEntryBytes;
    return true;
}

bool SendQueue::WriterRests() {
    MutexLock lock(mutex_);
    return !writing_;
}

}  // namespace vms
