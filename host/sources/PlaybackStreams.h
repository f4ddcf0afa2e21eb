#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/sources/DeviceModules.h"
#include "host/sources/PlaybackSink.h"
#include "host/sources/SourceProblem.h"
#include "host/stream/Lanes.h"
#include "host/stream/ReceiverTable.h"
#include "host/stream/StreamModules.h"
#include "module/CommandRecord.h"
#include "platform/Mutex.h"

namespace vms::host {

/// What is to be played.
struct PlaybackRequest {
    std::string device;
    int channel = 0;
    int stream = 0;
    int32_t from = 0;         ///< s since the epoch, from 1 up
    int32_t to = 0;           ///< the same, after `from`
    bool isDownload = false;  ///< as fast as it can be had, instead of as fast as it was recorded
};

/// One playback under way. What it is told reaches the module in that order; no call waits. Whoever
/// drops it ends it. Thread-safe.
class Playback {
public:
    ~Playback();
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    void Pause() { Control(TV_STREAM_PLAYBACK_PAUSE, ""); }
    void Resume() { Control(TV_STREAM_PLAYBACK_RESUME, ""); }
    /// @param speed n > 0: n times, -n: 1/n, 0: normal
    void SetSpeed(int speed) { Control(TV_STREAM_PLAYBACK_SPEED, std::to_string(speed)); }
    /// @param time s since the epoch; is moved into the range
    void Seek(int64_t time) { Control(TV_STREAM_PLAYBACK_SEEK, std::to_string(time)); }

    /// Of the connection, as modules know it. Constant.
    long long Number() const;

private:
    friend class PlaybackStreams;
    class Channel;
    explicit Playback(std::shared_ptr<Channel> channel) : channel_(std::move(channel)) {}
    void Control(int command, const std::string& body);

    const std::shared_ptr<Channel> channel_;
};

/// Opens playbacks and downloads, each a stream of its own. Thread-safe; only Close waits.
class PlaybackStreams {
public:
    /// The playback, or null and what is wrong.
    using PlaybackDone = std::function<void(std::shared_ptr<Playback>, const SourceProblem&)>;

    /// As many at a time.
    static constexpr size_t kMost = 1024;

    /// All must outlive this object and all playbacks.
    PlaybackStreams(DeviceModules& devices, StreamModules& modules, ReceiverTable& receivers,
                    Lanes& lanes)
        : devices_(devices), modules_(modules), receivers_(receivers), lanes_(lanes) {}

    /// @param sink may be given units before `done` is called
    /// @param done called once, on any thread, maybe inside the call; must not wait
    void Open(const PlaybackRequest& request, std::shared_ptr<PlaybackSink> sink, PlaybackDone done)
        VMS_EXCLUDES(mutex_);

    /// Opens nothing from now on; returns when no module is being asked any more.
    void Close() VMS_EXCLUDES(mutex_);

private:
    friend class Playback;

    void OnKey(const PlaybackRequest& request, const std::string& key,
               const std::shared_ptr<PlaybackSink>& sink, const PlaybackDone& done);
    void Answered() VMS_EXCLUDES(mutex_);
    void Left() VMS_EXCLUDES(mutex_);

    DeviceModules& devices_;
    StreamModules& modules_;
    ReceiverTable& receivers_;
    Lanes& lanes_;
    Mutex mutex_;
    CondVar answered_;
    size_t asking_ VMS_GUARDED_BY(mutex_) = 0;  ///< modules that have not answered
    size_t open_ VMS_GUARDED_BY(mutex_) = 0;    ///< playbacks, those being opened included
    bool closed_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms::host
