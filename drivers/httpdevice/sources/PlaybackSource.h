#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "drivers/httpdevice/session/FamilyRuntime.h"
#include "drivers/httpdevice/sources/DeviceLink.h"
#include "drivers/httpdevice/sources/UnitBuffer.h"
#include "platform/Mutex.h"
#include "videodevice/IPlaybackStreamServer.h"

namespace vms::httpdevice {

/// Playback or download of one channel for one player, over a connection of its own. Tells the
/// player "playback end" or "download end" after the last unit of the range (a seek then goes on
/// from its new place), and "3" when the connection is lost (a seek or a new start makes another).
///
/// A player that does not keep up slows the device down: playback is paused meanwhile; a download
/// is stopped and taken up again where it was, without a unit missing or coming twice.
class PlaybackSource final : public IPlaybackStreamServer,
                             private DeviceLink::Listener,
                             private Closable {
public:
    /// @param stream the device's stream; negative: as the request says
    PlaybackSource(std::shared_ptr<DeviceConnection> device, int stream);
    ~PlaybackSource() override;
    PlaybackSource(const PlaybackSource&) = delete;
    PlaybackSource& operator=(const PlaybackSource&) = delete;

    /// Begins at `seekTime` when that lies in the range; speed is normal again.
    /// @throws std::runtime_error as DeviceConnection::RequireChannel does, changing nothing: the
    /// player's request fails
    void StartPlayback(std::string key, int channel, int beginTime, int endTime, int streamNo,
                       int recordType, int seekTime, IStreamCallback* sink,
                       bool firstStart) override VMS_EXCLUDES(mutex_);
    /// @throws std::runtime_error as StartPlayback does
    void StartDownload(std::string key, int channel, int beginTime, int endTime,
                       IStreamCallback* sink) override VMS_EXCLUDES(mutex_);
    void StopPlayback(std::string key) override VMS_EXCLUDES(mutex_);
    std::string GetStreamUri() override;
    void RequestStopGetPlaybackStream() override;
    bool GetCloseGetStreamStatus() override;
    int Pause(std::string key) override VMS_EXCLUDES(mutex_);
    int Resume(std::string key) override VMS_EXCLUDES(mutex_);
    /// @param speed as SpeedFactor reads it. @return -1 for a download or out of range
    int SetSpeed(std::string key, int speed) override VMS_EXCLUDES(mutex_);
    /// Goes to the key frame at or before the position, which is moved into the range.
    int Seek(std::string key, int position) override VMS_EXCLUDES(mutex_);

private:
    /// What to play. Times in seconds since the epoch.
    struct Job {
        std::string key;
        IStreamCallback* sink = nullptr;
        int channel = 0;
        int stream = 0;
        int beginTime = 0;
        int endTime = 0;
        int seekTime = 0;  ///< where to begin; 0 = at the beginning
        int fileType = 0;
        bool download = false;
    };
    enum class Phase {
        kIdle,      ///< nothing to play, or stopped
        kLinking,   ///< the connection is being made
        kStarting,  ///< the device has been asked to start
        kPlaying,
        kHeld,   ///< a download that waits for its player, stopped at the device
        kEnded,  ///< the range is over
        kLost,   ///< the connection is, or the device did not start
    };

    void OnLinkOpen() override VMS_EXCLUDES(mutex_);
    void OnLinkAnswer(const std::string& action, int code, const Json::Value& data) override
        VMS_EXCLUDES(mutex_);
    void OnLinkFrame(const char* data, int length) override VMS_EXCLUDES(mutex_);
    void OnLinkEnd(const std::string& reason) override VMS_EXCLUDES(mutex_);
    void OnLinkLost() override VMS_EXCLUDES(mutex_);

    void BeginClose() override { RequestStopGetPlaybackStream(); }
    bool IsClosed() override { return GetCloseGetStreamStatus(); }

    void Start(Job job) VMS_EXCLUDES(mutex_);
    void Restart() VMS_REQUIRES(mutex_);
    void SendStart() VMS_REQUIRES(mutex_);
    void OnStarted(int code) VMS_EXCLUDES(mutex_);
    bool Takes(const DeviceFrame& frame) VMS_REQUIRES(mutex_);
    void SendPaused() VMS_REQUIRES(mutex_);
    void SlowDown(int queued) VMS_EXCLUDES(mutex_);
    void Hold() VMS_REQUIRES(mutex_);
    void BeginAtLastUnit() VMS_REQUIRES(mutex_);
    void LookAtPlayer() VMS_EXCLUDES(mutex_);
    void GoOn() VMS_REQUIRES(mutex_);

    const std::shared_ptr<DeviceConnection> device_;
    const int fixedStream_;
    const std::shared_ptr<DeviceLink> link_;

    Mutex mutex_;
    Job job_ VMS_GUARDED_BY(mutex_);
    Phase phase_ VMS_GUARDED_BY(mutex_) = Phase::kIdle;
    bool linked_ VMS_GUARDED_BY(mutex_) = false;
    int starts_ VMS_GUARDED_BY(mutex_) = 0;           ///< sent and not answered yet
    int seeks_ VMS_GUARDED_BY(mutex_) = 0;            ///< sent and not answered yet
    uint16_t generation_ VMS_GUARDED_BY(mutex_) = 0;  ///< of the frames that are wanted
    double speed_ VMS_GUARDED_BY(mutex_) = 1;
    bool paused_ VMS_GUARDED_BY(mutex_) = false;   ///< by the player
    bool slowed_ VMS_GUARDED_BY(mutex_) = false;   ///< because the player does not keep up
    int64_t videoMs_ VMS_GUARDED_BY(mutex_) = -1;  ///< time of the last unit handed over
    int64_t audioMs_ VMS_GUARDED_BY(mutex_) = -1;

    UnitBuffer units_;  ///< network thread only
};

}  // namespace vms::httpdevice
