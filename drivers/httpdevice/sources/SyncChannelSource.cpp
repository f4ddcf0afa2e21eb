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
                                     std::string token, int beginTime)
    : device_(std::move(device)),
      channel_(channel),
      token_(std::move(token)),
      beginTime_(beginTime),
      link_(DeviceLink::Make(device_, *this)) {
    device_->Runtime()->Add(this);
}

SyncChannelSource::~SyncChannelSource() {
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

void SyncChannelSource::OnLinkOpen() {
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
        Tell(kLost);
}

void SyncChannelSource::OnLinkFrame(const char* data, int length) {
    std::string key;
    IStreamCallback* sink = nullptr;
    {
        MutexLock lock(mutex_);
        key = key_;
        sink = sink_;
    }
    units_.Deliver(*sink, key, ReadDeviceFrame(data), data, length, int64_t{beginTime_} * 1000);
}

void SyncChannelSource::OnLinkEnd(const std::string& reason) {
    // Out of the session the device closes too, which is no loss to tell of after the end.
    if (reason != kFinished)
        link_->Stop();
    Tell(kEnd);
}

void SyncChannelSource::OnLinkLost() {
    Tell(kLost);
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
