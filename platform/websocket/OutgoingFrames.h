#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

#include "platform/Mutex.h"

namespace vms {

/// A frame to write.
struct OutgoingFrame {
    std::string bytes;
    bool text = true;
};

/// Frames that wait to be written by the one writer of a connection. Thread-safe, bounded.
class OutgoingFrames {
public:
    enum class Push { kFull, kQueued, kWakeWriter };

    explicit OutgoingFrames(size_t maxBytes) : maxBytes_(maxBytes) {}

    /// @return kWakeWriter when the writer rests and the caller is to start it
    Push Add(std::string_view bytes, bool text) VMS_EXCLUDES(mutex_);

    /// The next frame for the writer. @return false when there is none: the writer rests
    bool Take(OutgoingFrame& frame) VMS_EXCLUDES(mutex_);

    bool WriterRests() VMS_EXCLUDES(mutex_);

private:
    const size_t maxBytes_;

    Mutex mutex_;
    std::deque<OutgoingFrame> frames_ VMS_GUARDED_BY(mutex_);
    size_t bytes_ VMS_GUARDED_BY(mutex_) = 0;
    bool writing_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms
