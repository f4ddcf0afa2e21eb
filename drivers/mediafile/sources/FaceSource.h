#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "drivers/mediafile/clock/PlaybackClock.h"
#include "drivers/mediafile/sources/FaceTrack.h"
#include "drivers/mediafile/sources/SourceThread.h"
#include "media/recording/RecordingIndex.h"
#include "platform/Mutex.h"
#include "videodevice/IFaceFrameServer.h"

namespace vms::mediafile {

/// Shows the face pictures of a channel's sidecar, each as one unit with a JPEG, round after round.
/// A folder has no connection to lose, so it never asks to be replaced.
class FaceSource final : public IFaceFrameServer {
public:
    FaceSource(std::shared_ptr<const RecordingIndex> index,
               std::shared_ptr<SourceRegistry> registry);

    /// @return -1 for a channel that is unknown or has no faces, a second start or one after the
    /// stop
    int StartFaceFrame(std::string key, int channel, IStreamCallback* sink) override;
    void StopFaceFrame(std::string key) override;
    void RequestStopGetPreviewStream() override;
    bool GetCloseGetStreamStatus() override;
    std::string GetStreamUri() override VMS_EXCLUDES(mutex_);

private:
    void Run(const FaceTrack& track, const std::string& key, IStreamCallback& sink,
             const std::atomic<bool>& stop);

    const std::shared_ptr<const RecordingIndex> index_;
    PlaybackClock clock_;

    Mutex mutex_;
    std::string key_ VMS_GUARDED_BY(mutex_);

    SourceThread thread_;
};

}  // namespace vms::mediafile
