#include "platform/websocket/OutgoingFrames.h"

#include <utility>

namespace vms {
namespace {

/// What an entry takes beside its bytes, so that countless empty ones are bounded too.
constexpr size_t kEntryBytes = 64;

}  // namespace

OutgoingFrames::Push OutgoingFrames::Add(std::string_view bytes, bool text) {
    OutgoingFrame frame{std::string(bytes), text};
    MutexLock lock(mutex_);
    if (bytes_ + bytes.size() + kEntryBytes > maxBytes_)
        return Push::kFull;
    frames_.push_back(std::move(frame));
    bytes_ += bytes.size() + kEntryBytes;
    return std::exchange(writing_, true) ? Push::kQueued : Push::kWakeWriter;
}

bool OutgoingFrames::Take(OutgoingFrame& frame) {
    MutexLock lock(mutex_);
    if (frames_.empty()) {
        writing_ = false;
        return false;
    }
    frame = std::move(frames_.front());
    frames_.pop_front();
    bytes_ -= frame.bytes.size() + kEntryBytes;
    return true;
}

bool OutgoingFrames::WriterRests() {
    MutexLock lock(mutex_);
    return !writing_;
}

}  // namespace vms
