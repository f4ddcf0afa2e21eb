#include "drivers/httpdevice/sources/SyncChannelSource.h"

#include <utility>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {
namespace {

constexpr const char* kLost = "3";
constexpr const char* kEnd = "playback end";
constexpr const char* kFinished = "finished";  // a seek can still make it go on

}  // namespace

SyncChannelSource::SyncChannelSource(std::shared_ptr<DeviceConnection> device, int channel,
                                     std::string token, std::shared_ptr<SyncGroup> group)
    : device_(std::move(device)),
      channel_(channel),
      token_(std::move(token)),
      group_(std::move(group)),
      link_(DeviceLink::Make(device_, *this)) {
    device_->Runtime()->Add(this);
    group_->Add(channel_, this);
}

SyncChannelSource::~SyncChannelSource() {
    group_->Remove(this);
    device_->Runtime()->Remove(this);
    link_->Shut();
}

void SyncChannelSource::StartPlayback(std::string key, int /*channel*/, int /*beginTime*/,
                                      int /*endTime*/, int /*streamNo*/, int /*recordType*/,
                                      int /*seekTime*/, IStreamCallback* sink,
                                      bool /*firstStart*/) {
    if (sink == nullptr)
        return;
    {
        MutexLock lock(mutex_);
        if (sink_ != nullptr)
            return;
        sink_ = sink;
        key_ = std::move(key) + "--" + std::to_string(channel_);
    }
    link_->Open();
}

void SyncChannelSource::RequestStopGetPlaybackStream() {
    link_->Stop();
}

bool SyncChannelSource::GetCloseGetStreamStatus() {
    return link_->Closed();
}

void SyncChannelSource::OnLeave() {
    // The device ends the stream, which the player is then told of.
    MutexLock lock(mutex_);
    in_ = false;
}

void SyncChannelSource::OnReturn() {
    MutexLock lock(mutex_);
    const bool plays = std::exchange(in_, true) && !over_;
    if (sink_ == nullptr || plays)
        return;
    over_ = false;
    link_->Open();
}

void SyncChannelSource::OnLinkOpen() {
    {
        MutexLock lock(mutex_);
        over_ = false;
        if (in_)
            return Join();
    }
    Finish(kEnd);  // taken out meanwhile
}

void SyncChannelSource::Join() {
    Json::Value data;
    data["token"] = token_;
    data["channels"].append(channel_);
    link_->Request("syncAdd", data);
    data.removeMember("channels");
    data["channel"] = channel_;
    link_->Request("syncPlay", std::move(data));
}

void SyncChannelSource::OnLinkAnswer(const std::string& action, int code, const Json::Value&) {
    if (code == 0)
        return;
    VMS_LOG(2, "SyncChannelSource", "%s: code %d for channel %d",
            device_->Address().Label().c_str(), code, channel_);
    if (action == "syncPlay")
        Finish(kLost);
}

void SyncChannelSource::OnLinkFrame(const char* data, int length) {
    std::string key;
    IStreamCallback* sink = nullptr;
    {
        MutexLock lock(mutex_);
        key = key_;
        sink = sink_;
    }
    units_.Deliver(*sink, key, ReadDeviceFrame(data), data, length,
                   int64_t{group_->BeginTime()} * 1000);
}

void SyncChannelSource::OnLinkEnd(const std::string& reason) {
    if (reason == kFinished)
        Tell(kEnd);
    else
        Finish(kEnd);
}

void SyncChannelSource::OnLinkLost() {
    Finish(kLost);
}

/// Gives the connection up. The player hears of it once; of the end when the channel is out.
void SyncChannelSource::Finish(const char* message) {
    link_->Close();
    bool told = false;
    bool in = false;
    {
        MutexLock lock(mutex_);
        told = std::exchange(over_, true);
        in = in_;
    }
    if (!told)
        Tell(in ? message : kEnd);
}

void SyncChannelSource::Tell(const char* message) {
    std::string key;
    IStreamCallback* sink = nullptr;
    {
        MutexLock lock(mutex_);
        key = key_;
        sink = sink_;
    }
    sink->MsgCallback(key, message);
}

}  // namespace vms::httpdevice
