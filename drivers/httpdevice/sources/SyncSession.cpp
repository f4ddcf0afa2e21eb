#include "drivers/httpdevice/sources/SyncSession.h"

#include <algorithm>
#include <utility>

#include "drivers/httpdevice/sources/PlaySpeed.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

constexpr size_t kMaxToken = 512;

}  // namespace

SyncSession::SyncSession(std::shared_ptr<DeviceConnection> device)
    : device_(std::move(device)),
      link_(DeviceLink::Make(device_, *this, DeviceLink::Carries::kTexts)) {
    device_->Runtime()->Add(this);
}

SyncSession::~SyncSession() {
    device_->Runtime()->Remove(this);
    link_->Shut();
    if (const std::string token = GetToken(); !token.empty())
        device_->Runtime()->ForgetSession(device_->Address(), token);
}

int SyncSession::Create(const char* /*id*/, int beginTime, int endTime, int seekTime,
                        int recordType, int streamNo, int speed, IStreamCallback* /*sink*/) {
    const auto factor = SpeedFactor(speed);
    if (!factor || !GetToken().empty())
        return -1;
    Json::Value data;
    data["startTime"] = beginTime;
    data["endTime"] = endTime;
    data["seekTime"] = seekTime > beginTime && seekTime < endTime ? seekTime : 0;
    data["stream"] = std::max(streamNo, 0);
    data["fileType"] = recordType;
    data["speed"] = *factor;
    const auto answer = Ask("syncCreate", std::move(data));
    std::string token;
    auto group = std::make_shared<SyncGroup>(beginTime);
    if (!answer || answer->code != 0 || !ReadString(answer->data, "token", token) ||
        token.empty() || token.size() > kMaxToken ||
        !device_->Runtime()->KeepSession(device_->Address(), token, group))
        return -1;
    MutexLock lock(mutex_);
    token_ = std::move(token);
    group_ = std::move(group);
    beginTime_ = beginTime;
    endTime_ = endTime;
    return 0;
}

int SyncSession::ChangeChannels(const char* action, const std::list<int>& channels) {
    Json::Value data;
    data["channels"] = Json::Value(Json::arrayValue);
    for (const int channel : channels)
        data["channels"].append(channel);
    return Control(action, std::move(data));
}

int SyncSession::AddChannels(std::list<int>& channels) {
    if (ChangeChannels("syncAdd", channels) < 0)
        return -1;
    Group()->Return(channels);
    return 0;
}

int SyncSession::DelChannels(std::list<int>& channels) {
    if (ChangeChannels("syncDel", channels) < 0)
        return -1;
    Group()->Leave(channels);
    return 0;
}

void SyncSession::Destroy() {
    link_->Stop();
}

int SyncSession::Start() {
    return Control("syncStart");
}

int SyncSession::Stop() {
    Json::Value data;
    {
        MutexLock lock(mutex_);
        if (token_.empty())
            return -1;
        data["token"] = token_;
        data["time"] = beginTime_;
    }
    const bool sent = link_->Request("syncPause", data) && link_->Request("syncSeek", data);
    return sent ? 0 : -1;
}

int SyncSession::Seek(int position) {
    Json::Value data;
    {
        MutexLock lock(mutex_);
        data["time"] = WithinRange(position, beginTime_, endTime_);
    }
    return Control("syncSeek", std::move(data));
}

int SyncSession::SetSpeed(int speed) {
    const auto factor = SpeedFactor(speed);
    Json::Value data;
    data["speed"] = factor.value_or(0);
    return factor ? Control("syncSpeed", std::move(data)) : -1;
}

int SyncSession::Pause() {
    return Control("syncPause");
}

int SyncSession::Resume() {
    return Control("syncResume");
}

/// Once created; null before.
std::shared_ptr<SyncGroup> SyncSession::Group() {
    MutexLock lock(mutex_);
    return group_;
}

std::string SyncSession::GetToken() {
    MutexLock lock(mutex_);
    return token_;
}

void SyncSession::RequestStopGetPlaybackStream() {
    Json::Value data;
    data["token"] = GetToken();
    if (data["token"] != "" && !link_->Closed())
        link_->Request("syncStop", std::move(data));
    link_->Stop();
}

bool SyncSession::GetCloseGetStreamStatus() {
    return link_->Closed();
}

int SyncSession::Control(const char* action, Json::Value data) {
    std::string token = GetToken();
    if (token.empty())
        return -1;
    data["token"] = std::move(token);
    const auto answer = Ask(action, std::move(data));
    if (answer && answer->code != 0)
        VMS_LOG(2, "SyncSession", "%s: code %d for %s", device_->Address().Label().c_str(),
                answer->code, action);
    return answer && answer->code == 0 ? 0 : -1;
}

std::optional<SyncSession::Answer> SyncSession::Ask(const char* action, Json::Value data) {
    if (device_->IsDown())
        return std::nullopt;
    const auto deadline =
        std::chrono::steady_clock::now() + device_->Runtime()->Settings().requestTimeout;
    MutexLock turn(turnMutex_);
    MutexLock lock(mutex_);
    asked_ = action;
    askedData_ = data;
    answer_.reset();
    if (linked_)
        link_->Request(action, std::move(data));
    else if (!std::exchange(linking_, true))
        link_->Open();
    while (!answer_ && (linked_ || linking_)) {
        if (!changed_.WaitUntil(mutex_, deadline))
            linked_ = linking_ = false;  // a late answer must not be taken for the next one
    }
    asked_.clear();
    return std::exchange(answer_, std::nullopt);
}

void SyncSession::OnLinkOpen() {
    MutexLock lock(mutex_);
    linked_ = true;
    linking_ = false;
    if (!asked_.empty())
        link_->Request(asked_.c_str(), askedData_);
}

void SyncSession::OnLinkAnswer(const std::string& action, int code, const Json::Value& data) {
    MutexLock lock(mutex_);
    if (action != asked_)
        return;
    answer_ = Answer{code, data};
    changed_.NotifyAll();
}

void SyncSession::OnLinkLost() {
    MutexLock lock(mutex_);
    linked_ = linking_ = false;
    changed_.NotifyAll();
}

}  // namespace vms::httpdevice
