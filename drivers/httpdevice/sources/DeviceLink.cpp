#include "drivers/httpdevice/sources/DeviceLink.h"

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

#include "drivers/httpdevice/session/AnswerCode.h"
#include "drivers/httpdevice/sources/DeviceFrame.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "platform/IWebSocketClient.h"
#include "platform/Json.h"
#include "platform/WebSocketSettings.h"

namespace vms::httpdevice {
namespace {

constexpr const char* kProtocol = "websocket";

IWebSocketClient* MakeClient(DeviceLink::Carries carries) {
    WebSocketSettings settings = GetWebSocketSettings();
    if (carries == DeviceLink::Carries::kTexts)
        settings.maxMessageBytes = std::min(settings.maxMessageBytes, kShortAnswer.bytes);
    return CreateWebSocketClient(settings);
}

bool MeansSession(int code) {
    return WantsLogin(code) || code == kKeyProofOwed;
}

}  // namespace

std::shared_ptr<DeviceLink> DeviceLink::Make(std::shared_ptr<DeviceConnection> device,
                                             Listener& listener, Carries carries) {
    return std::make_shared<DeviceLink>(std::move(device), listener, carries);
}

DeviceLink::DeviceLink(std::shared_ptr<DeviceConnection> device, Listener& listener,
                       Carries carries)
    : device_(std::move(device)), listener_(listener), carries_(carries) {}

void DeviceLink::Open() {
    const std::string session = device_->Session();
    const bool ready = !session.empty() && !device_->IsDown();
    bool first = false;
    uint64_t attempt = 0;
    {
        MutexLock lock(mutex_);
        if (stopped_)
            return;
        attempt = ++attempt_;
        handle_ = 0;
        renewed_ = false;
        joining_ = true;
        first = client_ == nullptr && !freeing_;
    }
    if (!ready)
        return ConnectAfresh(session, attempt);
    // Freeing an old connection may wait for its last event, which callers must not.
    if (first)
        return Connect(session, attempt);
    device_->Runtime()->Jobs().Run(
        [self = shared_from_this(), session, attempt] { self->Connect(session, attempt); });
}

/// Does nothing when there is a newer attempt.
void DeviceLink::Connect(const std::string& session, uint64_t attempt) {
    FreeOld();
    IWebSocketClient* const fresh = MakeClient(carries_);
    if (fresh == nullptr)
        return ReportLost(attempt);
    fresh->SetEventHandle(this);
    const __tagTvVideoParam& device = device_->Address().Description();
    const auto timeout = device_->Runtime()->Settings().connectTimeout;
    bool wanted = false;
    bool connecting = false;
    {
        MutexLock lock(mutex_);
        wanted = !stopped_ && attempt == attempt_;
        if (wanted) {
            joining_ = false;
            client_ = fresh;
            handle_ = fresh->GetHandle();
            session_ = session;
            refused_ = false;
            connecting = fresh->Connect(device.ip.c_str(), device.port, "", kProtocol,
                                        static_cast<int>(timeout.count()), device.httpsEnable);
        }
    }
    if (!wanted)
        fresh->Release();
    else if (!connecting)
        ReportLost(attempt);
}

/// Waits for the last event of the old connection, so that events of the next come after it.
void DeviceLink::FreeOld() {
    MutexLock lock(mutex_);
    while (freeing_)
        told_.Wait(mutex_);
    IWebSocketClient* const old = std::exchange(client_, nullptr);
    if (old == nullptr)
        return;
    freeing_ = true;
    lock.Unlock();
    old->Release();
    lock.Lock();
    freeing_ = false;
    told_.NotifyAll();
}

/// Not on the caller's thread, which may hold the listener's lock.
void DeviceLink::ReportLost(uint64_t attempt) {
    device_->Runtime()->Jobs().Run(
        [self = shared_from_this(), attempt] { self->TellLost(attempt); });
}

void DeviceLink::TellLost(uint64_t attempt) {
    {
        MutexLock lock(mutex_);
        if (attempt != attempt_)
            return;
        joining_ = false;
    }
    Tell([this] { listener_.OnLinkLost(); });
}

/// Gets a session in the background, another than the refused one, and connects with it.
void DeviceLink::ConnectAfresh(const std::string& refused, uint64_t attempt) {
    {
        MutexLock lock(mutex_);
        if (stopped_ || attempt != attempt_)
            return;
        joining_ = true;
        renewed_ = true;
    }
    device_->RenewThen(refused, [self = shared_from_this(), attempt](bool ready) {
        self->device_->Runtime()->Jobs().Run([self, attempt, ready] {
            ready ? self->Connect(self->device_->Session(), attempt) : self->TellLost(attempt);
        });
    });
}

bool DeviceLink::Request(const char* action, Json::Value data) {
    MutexLock lock(mutex_);
    if (client_ == nullptr)
        return false;
    data["sessionID"] = session_;
    Json::Value request;
    request["action"] = action;
    request["data"] = std::move(data);
    const std::string text = request.toStyledString();
    return client_->Send(text.data(), static_cast<int>(text.size()));
}

bool DeviceLink::SendBinary(const std::string& frame) {
    MutexLock lock(mutex_);
    return client_ != nullptr && client_->SendBinary(frame.data(), static_cast<int>(frame.size()));
}

void DeviceLink::After(std::chrono::milliseconds delay, std::function<void()> call) {
    device_->Runtime()->Reactor().After(delay, [weak = weak_from_this(), call = std::move(call)] {
        if (const auto self = weak.lock())
            self->Tell(call);
    });
}

void DeviceLink::Close() {
    MutexLock lock(mutex_);
    if (client_ != nullptr)
        client_->Stop();
}

void DeviceLink::Stop() {
    MutexLock lock(mutex_);
    stopped_ = true;
    if (client_ != nullptr)
        client_->Stop();
}

bool DeviceLink::Closed() {
    MutexLock lock(mutex_);
    const bool joining = joining_ && !stopped_;
    return !joining && !freeing_ && calls_ == 0 &&
           (client_ == nullptr || client_->GetCloseStatus());
}

void DeviceLink::Shut() {
    IWebSocketClient* client = nullptr;
    {
        MutexLock lock(mutex_);
        stopped_ = true;
        client = std::exchange(client_, nullptr);
        while (calls_ > 0 || freeing_)
            told_.Wait(mutex_);
    }
    if (client != nullptr)
        client->Release();
}

void DeviceLink::Tell(const std::function<void()>& call) {
    {
        MutexLock lock(mutex_);
        if (stopped_)
            return;
        ++calls_;
    }
    try {
        call();
    } catch (const std::exception& error) {
        VMS_LOG(3, "DeviceLink", "%s: %s", device_->Address().Label().c_str(), error.what());
    }
    MutexLock lock(mutex_);
    --calls_;
    told_.NotifyAll();
}

bool DeviceLink::IsCurrent(long long handle) {
    MutexLock lock(mutex_);
    return handle == handle_;
}

void DeviceLink::OnConnect(long long handle, const char* /*text*/, int /*len*/) {
    if (IsCurrent(handle))
        listener_.OnLinkOpen();
}

void DeviceLink::OnRecv(long long handle, const char* data, int len) {
    if (!IsCurrent(handle))
        return;
    // A frame may begin with any byte, but no text looks like a frame.
    if (IsDeviceFrame(data, len))
        listener_.OnLinkFrame(data, len);
    else if (data != nullptr && len > 0 && data[0] == '{')
        OnText(data, len);
    else if (!complained_.exchange(true))
        VMS_LOG(3, "DeviceLink", "%s: unknown message of %d bytes",
                device_->Address().Label().c_str(), len);
}

/// The connection is then lost, as if the device had ended it.
void DeviceLink::Refuse(int len) {
    MutexLock lock(mutex_);
    if (!complained_.exchange(true))
        VMS_LOG(3, "DeviceLink", "%s: a text of %d bytes is too much",
                device_->Address().Label().c_str(), len);
    if (client_ != nullptr)
        client_->Stop();
}

void DeviceLink::OnText(const char* data, int len) {
    const std::string_view text(data, static_cast<size_t>(len));
    if (!kShortAnswer.Takes(text))
        return Refuse(len);
    Json::Value message;
    std::string action;
    int code = kUnusable;
    ParseJson(std::string(text).c_str(), message);
    ReadString(message, "action", action);
    ReadInt(message, "code", code);
    {
        MutexLock lock(mutex_);
        refused_ = refused_ || MeansSession(code);
        if (refused_)
            return client_ != nullptr ? client_->Stop() : void();
        if (code == kDone)
            renewed_ = false;
    }
    const Json::Value& details = Member(message, "data");
    if (action != "end")
        return listener_.OnLinkAnswer(action, code, details);
    std::string reason;
    ReadString(details, "reason", reason);
    listener_.OnLinkEnd(reason);
}

void DeviceLink::OnClose(long long handle, int code, const char* msg) {
    bool again = false;
    uint64_t attempt = 0;
    std::string session;
    {
        MutexLock lock(mutex_);
        if (stopped_ || handle != handle_)
            return;
        attempt = attempt_;
        again = refused_ && !renewed_;
        session = session_;
    }
    VMS_LOG(1, "DeviceLink", "%s: connection closed, %d %s", device_->Address().Label().c_str(),
            code, std::string(msg != nullptr ? msg : "").c_str());
    if (again)
        ConnectAfresh(session, attempt);
    else
        listener_.OnLinkLost();
}

}  // namespace vms::httpdevice
