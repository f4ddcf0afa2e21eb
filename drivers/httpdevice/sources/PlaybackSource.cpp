// What the module asks for; see PlaybackStream.cpp for what the device sends.
#include "drivers/httpdevice/sources/PlaybackSource.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "drivers/httpdevice/sources/PlaySpeed.h"

namespace vms::httpdevice {

PlaybackSource::PlaybackSource(std::shared_ptr<DeviceConnection> device, int stream)
    : device_(std::move(device)), fixedStream_(stream), link_(DeviceLink::Make(device_, *this)) {
    device_->Runtime()->Add(this);
}

PlaybackSource::~PlaybackSource() {
    device_->Runtime()->Remove(this);
    link_->Shut();
}

void PlaybackSource::StartPlayback(std::string key, int channel, int beginTime, int endTime,
                                   int streamNo, int recordType, int seekTime,
                                   IStreamCallback* sink, bool /*firstStart*/) {
    const bool seeks = seekTime > beginTime && seekTime < endTime;
    const int stream = fixedStream_ >= 0 ? fixedStream_ : std::max(streamNo, 0);
    Start({std::move(key), sink, channel, stream, beginTime, endTime, seeks ? seekTime : 0,
           recordType, false});
}

void PlaybackSource::StartDownload(std::string key, int channel, int beginTime, int endTime,
                                   IStreamCallback* sink) {
    Start(
        {std::move(key), sink, channel, std::max(fixedStream_, 0), beginTime, endTime, 0, 0, true});
}

void PlaybackSource::Start(Job job) {
    if (job.sink == nullptr)
        return;
    device_->RequireChannel(job.channel);
    MutexLock lock(mutex_);
    job_ = std::move(job);
    speed_ = 1;
    paused_ = false;
    Restart();
}

/// Plays the job from its beginning, over the connection that there is or a new one.
void PlaybackSource::Restart() {
    slowed_ = false;
    seeks_ = 0;
    videoMs_ = audioMs_ = -1;
    if (linked_)
        return SendStart();
    if (std::exchange(phase_, Phase::kLinking) != Phase::kLinking)
        link_->Open();
}

void PlaybackSource::StopPlayback(std::string /*key*/) {
    MutexLock lock(mutex_);
    phase_ = Phase::kIdle;
    link_->Request("stop");
}

std::string PlaybackSource::GetStreamUri() {
    return {};
}

void PlaybackSource::RequestStopGetPlaybackStream() {
    link_->Stop();
}

bool PlaybackSource::GetCloseGetStreamStatus() {
    return link_->Closed();
}

int PlaybackSource::Pause(std::string /*key*/) {
    MutexLock lock(mutex_);
    paused_ = true;
    SendPaused();
    return 0;
}

int PlaybackSource::Resume(std::string /*key*/) {
    MutexLock lock(mutex_);
    paused_ = false;
    SendPaused();
    return 0;
}

/// Tells the device whether to go on, if it plays.
void PlaybackSource::SendPaused() {
    if (phase_ == Phase::kPlaying && !job_.download)
        link_->Request(paused_ || slowed_ ? "pause" : "resume");
}

int PlaybackSource::SetSpeed(std::string /*key*/, int speed) {
    const std::optional<double> factor = SpeedFactor(speed);
    MutexLock lock(mutex_);
    if (!factor || job_.download)
        return -1;
    speed_ = *factor;
    Json::Value data;
    data["speed"] = speed_;
    if (phase_ == Phase::kPlaying || phase_ == Phase::kEnded)
        link_->Request("speed", std::move(data));
    return 0;
}

int PlaybackSource::Seek(std::string /*key*/, int position) {
    MutexLock lock(mutex_);
    const int time = WithinRange(position, job_.beginTime, job_.endTime);
    job_.seekTime = time;
    videoMs_ = audioMs_ = -1;
    if (phase_ == Phase::kLost || (phase_ == Phase::kStarting && linked_))
        return Restart(), 0;
    if (phase_ != Phase::kPlaying && phase_ != Phase::kEnded)
        return 0;  // idle: nothing to move; linking or held: begins there
    Json::Value data;
    data["time"] = time;
    if (!link_->Request("seek", std::move(data)))
        return -1;
    ++seeks_;
    ++generation_;
    phase_ = Phase::kPlaying;
    return 0;
}

}  // namespace vms::httpdevice
