// The other half of a playback: what the device sends, and how fast.
#include <algorithm>
#include <utility>

#include "drivers/httpdevice/sources/PlaySpeed.h"
#include "drivers/httpdevice/sources/PlaybackSource.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {
namespace {

constexpr int kNothingRecorded = 2003;

// Units that may wait for the player, and how few there must be to go on.
constexpr int kMaxQueued = 64;
constexpr int kGoOnAt = 16;
constexpr std::chrono::milliseconds kLookTime{20};

constexpr const char* kLost = "3";

const char* StartAction(bool download) {
    return download ? "download" : "playback";
}

const char* EndMessage(bool download) {
    return download ? "download end" : "playback end";
}

}  // namespace

void PlaybackSource::OnLinkOpen() {
    MutexLock lock(mutex_);
    linked_ = true;
    starts_ = seeks_ = 0;
    if (phase_ == Phase::kEnded)
        phase_ = Phase::kLost;  // nothing plays over this connection
    if (phase_ == Phase::kIdle || phase_ == Phase::kLost)
        return;
    BeginAtLastUnit();
    SendStart();
}

/// Whatever plays over the connection makes room for the job.
void PlaybackSource::SendStart() {
    Json::Value data;
    data["channel"] = job_.channel;
    data["stream"] = job_.stream;
    data["startTime"] = job_.beginTime;
    data["endTime"] = job_.endTime;
    data["seekTime"] = job_.seekTime;
    data["fileType"] = job_.fileType;
    if (!job_.download)
        data["speed"] = speed_;
    phase_ = Phase::kStarting;
    generation_ = 0;
    if (link_->Request(StartAction(job_.download), std::move(data)))
        ++starts_;
}

void PlaybackSource::OnLinkAnswer(const std::string& action, int code, const Json::Value&) {
    if (code != 0)
        VMS_LOG(2, "PlaybackSource", "%s: code %d for %s", device_->Address().Label().c_str(), code,
                action.substr(0, 32).c_str());
    if (action == "playback" || action == "download")
        return OnStarted(code);
    MutexLock lock(mutex_);
    if (action != "seek" || seeks_ == 0)
        return;
    --seeks_;
    if (code != 0)
        --generation_;
}

void PlaybackSource::OnStarted(int code) {
    MutexLock lock(mutex_);
    if (starts_ == 0 || --starts_ > 0 || phase_ != Phase::kStarting)
        return;
    phase_ = code == 0 ? Phase::kPlaying : Phase::kLost;
    if (paused_)
        SendPaused();
    if (code == 0)
        return;
    const Job job = job_;
    lock.Unlock();
    job.sink->MsgCallback(job.key, code == kNothingRecorded ? EndMessage(job.download) : kLost);
    lock.Lock();
}

void PlaybackSource::OnLinkFrame(const char* data, int length) {
    const DeviceFrame frame = ReadDeviceFrame(data);
    std::string key;
    IStreamCallback* sink = nullptr;
    int64_t originMs = 0;
    {
        MutexLock lock(mutex_);
        if (!Takes(frame))
            return;
        key = job_.key;
        sink = job_.sink;
        originMs = int64_t{job_.beginTime} * 1000;
    }
    units_.Deliver(*sink, key, frame, data, length, originMs);
    const int queued = sink->QueryDataCountToSend(key);
    if (queued > kMaxQueued)
        SlowDown(queued);
}

/// Frames from before the last start, from before the last seek, and those that were handed over
/// before a download was held are not wanted.
bool PlaybackSource::Takes(const DeviceFrame& frame) {
    if (phase_ != Phase::kPlaying ||
        static_cast<int16_t>(static_cast<uint16_t>(frame.generation - generation_)) < 0)
        return false;
    int64_t& last = frame.IsVideo() ? videoMs_ : audioMs_;
    if (job_.download && frame.timeMs <= last)
        return false;
    last = frame.timeMs;
    return true;
}

void PlaybackSource::SlowDown(int queued) {
    MutexLock lock(mutex_);
    if (phase_ != Phase::kPlaying || slowed_)
        return;
    VMS_LOG(0, "PlaybackSource", "%s: %d units wait for the player", job_.key.c_str(), queued);
    slowed_ = true;
    if (job_.download)
        Hold();
    else
        SendPaused();
    link_->After(kLookTime, [this] { LookAtPlayer(); });
}

/// Downloads cannot be paused: they are stopped, and begun again at the last whole second that has
/// been handed over.
void PlaybackSource::Hold() {
    phase_ = Phase::kHeld;
    link_->Request("stop");
    BeginAtLastUnit();
}

void PlaybackSource::BeginAtLastUnit() {
    const int64_t last = std::min(videoMs_, audioMs_ < 0 ? videoMs_ : audioMs_);
    if (last >= 0)
        job_.seekTime = WithinRange(last / 1000, job_.beginTime, job_.endTime);
}

void PlaybackSource::LookAtPlayer() {
    std::string key;
    IStreamCallback* sink = nullptr;
    {
        MutexLock lock(mutex_);
        if (!slowed_)
            return;
        key = job_.key;
        sink = job_.sink;
    }
    const int queued = sink->QueryDataCountToSend(key);
    MutexLock lock(mutex_);
    if (slowed_ && queued <= kGoOnAt)
        GoOn();
    else
        link_->After(kLookTime, [this] { LookAtPlayer(); });
}

void PlaybackSource::GoOn() {
    slowed_ = false;
    if (phase_ == Phase::kHeld && linked_)
        SendStart();
    else
        SendPaused();
}

void PlaybackSource::OnLinkEnd(const std::string& reason) {
    MutexLock lock(mutex_);
    if (phase_ != Phase::kPlaying || seeks_ > 0 || reason != "finished")
        return;
    phase_ = Phase::kEnded;
    const Job job = job_;
    lock.Unlock();
    job.sink->MsgCallback(job.key, EndMessage(job.download));
    lock.Lock();
}

void PlaybackSource::OnLinkLost() {
    MutexLock lock(mutex_);
    linked_ = false;
    starts_ = seeks_ = 0;
    slowed_ = false;
    const bool told = phase_ != Phase::kIdle && phase_ != Phase::kEnded && phase_ != Phase::kLost;
    phase_ = Phase::kLost;
    const Job job = job_;
    lock.Unlock();
    if (told && job.sink != nullptr)
        job.sink->MsgCallback(job.key, kLost);
    lock.Lock();
}

}  // namespace vms::httpdevice
