#pragma once

#include <memory>
#include <string>

#include "drivers/mediafile/clock/PlaybackClock.h"
#include "drivers/mediafile/sources/ChannelPlayer.h"
#include "media/recording/RecordingIndex.h"
#include "videodevice/IPlaybackStreamServer.h"

namespace vms::mediafile {

/// Playback or download of one channel for one player. Tells the player "playback end" or
/// "download end" after the last unit of the range; a seek then goes on from its new place.
class PlaybackSource final : public IPlaybackStreamServer {
public:
    PlaybackSource(std::shared_ptr<const RecordingIndex> index,
                   std::shared_ptr<SourceRegistry> registry);

    /// Begins at `seekTime` when that lies in the range; speed is normal again. Changes nothing
    /// when it cannot start.
    /// @throws std::runtime_error for an unknown channel and once closed: the player's request
    /// fails
    void StartPlayback(std::string key, int channel, int beginTime, int endTime, int streamNo,
                       int recordType, int seekTime, IStreamCallback* sink,
                       bool firstStart) override;
    /// @throws std::runtime_error as StartPlayback does
    void StartDownload(std::string key, int channel, int beginTime, int endTime,
                       IStreamCallback* sink) override;
    void StopPlayback(std::string key) override;
    std::string GetStreamUri() override;
    void RequestStopGetPlaybackStream() override;
    bool GetCloseGetStreamStatus() override;
    int Pause(std::string key) override;
    int Resume(std::string key) override;
    /// @param speed as PlaybackSpeed writes it. @return -1 outside its range, without effect
    int SetSpeed(std::string key, int speed) override;
    /// Goes to the key picture at or before the position, which is moved into the range.
    int Seek(std::string key, int position) override;

private:
    void Start(PlayJob job, int beginTime, int endTime, int seekTime);

    const std::shared_ptr<const RecordingIndex> index_;
    const std::shared_ptr<PlaybackClock> clock_ = std::make_shared<PlaybackClock>();
    ChannelPlayer player_;
};

}  // namespace vms::mediafile
