#include "media/recording/RecordingCursor.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "media/recording/RecordingProbe.h"

namespace vms {
namespace {

constexpr int64_t kGapMs = 1000;

}  // namespace

RecordingCursor::RecordingCursor(RecordingList recordings, int64_t startMs,
                                 const std::atomic<bool>& stop)
    : recordings_(std::move(recordings)), stop_(stop), reachedMs_(startMs) {}

bool RecordingCursor::Next(MediaPacket& packet, bool& afterGap) {
    while (!stop_) {
        if (reader_ == nullptr && !OpenNext())
            return false;
        if (!reader_->Next(packet)) {
            reader_.reset();
            continue;
        }
        if (!Accept(packet))
            continue;
        afterGap = packet.timeMs > reachedMs_ + kGapMs;
        reachedMs_ = std::max(reachedMs_, packet.timeMs);
        delivered_ = true;
        return true;
    }
    return false;
}

bool RecordingCursor::OpenNext() {
    while (next_ < recordings_.size() && !stop_) {
        const Recording& recording = recordings_[next_++];
        if (IsOver(recording))
            continue;
        reader_ = RecordingReader::Open(recording, stop_);
        if (reader_ == nullptr)
            continue;
        if (recording.startMs < reachedMs_)
            reader_->SeekTo(reachedMs_);
        joining_ = delivered_;
        return true;
    }
    return false;
}

/// Whether a recording ends before the place that has been reached. Where that depends on an end
/// that is not exact, the file is asked.
bool RecordingCursor::IsOver(const Recording& recording) const {
    if (recording.startMs >= reachedMs_)
        return false;
    if (recording.exact)
        return recording.endMs <= reachedMs_;
    const std::optional<int64_t> duration = ProbeDuration(recording.path, stop_);
    return !duration || recording.startMs + *duration <= reachedMs_;
}

bool RecordingCursor::Accept(const MediaPacket& packet) {
    if (joining_ && packet.IsKey() && packet.timeMs >= reachedMs_)
        joining_ = false;
    return !joining_;
}

}  // namespace vms
