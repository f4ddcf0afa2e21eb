#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "media/packet/MediaPacket.h"
#include "media/recording/Recording.h"
#include "media/recording/RecordingReader.h"

namespace vms {

/// Reads a channel's recordings one after the other from a moment on. Where recordings overlap, the
/// earlier one is read to its end and the later one joined at its next key picture. Unreadable
/// files are passed over. Thread-bound.
class RecordingCursor {
public:
    /// @param recordings in order of start. @param startMs ms since the Unix epoch, UTC
    /// @param stop must outlive the cursor
    RecordingCursor(RecordingList recordings, int64_t startMs, const std::atomic<bool>& stop);

    /// @param afterGap set when more than a second without media lies before the packet
    /// @return false at the end
    bool Next(MediaPacket& packet, bool& afterGap);

private:
    bool OpenNext();
    bool IsOver(const Recording& recording) const;
    bool Accept(const MediaPacket& packet);

    const RecordingList recordings_;
    const std::atomic<bool>& stop_;
    size_t next_ = 0;
    std::unique_ptr<RecordingReader> reader_;
    int64_t reachedMs_;     ///< time of the latest packet, at first the start
    bool joining_ = false;  ///< looking for the key picture at which a later file is joined
    bool delivered_ = false;
};

}  // namespace vms
