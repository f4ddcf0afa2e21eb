#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "drivers/mediafile/clock/PlaybackClock.h"
#include "drivers/mediafile/sources/SourceThread.h"
#include "drivers/mediafile/sources/UnitSender.h"
#include "media/recording/RecordingIndex.h"
#include "platform/Mutex.h"
#include "videodevice/IPreviewStreamServer.h"

namespace vms::mediafile {

/// A live picture made of a channel's recordings, all of them in real time, over and over.
/// Timestamps count the milliseconds since the start and never step back.
class PreviewSource final : public IPreviewStreamServer {
public:
    PreviewSource(std::shared_ptr<const RecordingIndex> index,
                  std::shared_ptr<SourceRegistry> registry);

    /// @return -1 for an unknown channel, a second start or a start after the stop
    int StartPreview(std::string key, int channel, int streamType, IStreamCallback* sink) override
        VMS_EXCLUDES(mutex_);
    void StopPreview(std::string key) override;
    void RequestStopGetPreviewStream() override;
    bool GetCloseGetStreamStatus() override;
    /// The key of the start. @throws std::runtime_error when there was none: so the command that
    /// wanted the stream fails, instead of naming a key under which nothing will ever come
    std::string GetStreamUri() override VMS_EXCLUDES(mutex_);
    int GetTalkEncodeType() override;

private:
    void Run(UnitSender& sender, int channel, const std::atomic<bool>& stop);
    bool PlayOnce(UnitSender& sender, int channel, const std::atomic<bool>& stop);
    bool PlayFile(UnitSender& sender, const Recording& recording, const std::atomic<bool>& stop);
    bool WaitFor(int64_t timestampMs, const std::atomic<bool>& stop);

    const std::shared_ptr<const RecordingIndex> index_;
    PlaybackClock clock_;
    PlaybackClock::Member member_{clock_};
    int64_t offsetMs_ = 0;  ///< timestamp of the current file's start; source thread only

    Mutex mutex_;
    std::string key_ VMS_GUARDED_BY(mutex_);

    SourceThread thread_;
};

}  // namespace vms::mediafile
