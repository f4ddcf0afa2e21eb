// The background of a connection. Once in a while the device is looked at with a request that
// nobody waits for: a heartbeat when there is a session, otherwise the request for a challenge.
#include <algorithm>
#include <utility>

#include "deviceapi/Tavero_Http_Encode.h"
#include "drivers/httpdevice/session/AnswerCode.h"
#include "drivers/httpdevice/session/DeviceConnection.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;
using std::chrono::milliseconds;

constexpr milliseconds kFirstGap{500};
constexpr milliseconds kMaxRefusedGap{300'000};
constexpr int kMaxDoublings = 10;

milliseconds Doubled(milliseconds gap, int times, milliseconds limit) {
    return std::min(gap * (1 << std::clamp(times, 0, kMaxDoublings)), limit);
}

}  // namespace

void DeviceConnection::Watch() {
    runtime_->AddConnection(weak_from_this());
    MutexLock lock(stateMutex_);
    LookIn({});
}

/// One look at a time waits its turn; a later call replaces the time of the earlier one.
void DeviceConnection::LookIn(milliseconds delay) {
    const uint64_t serial = ++lookSerial_;
    runtime_->Reactor().After(delay, [weak = weak_from_this(), serial] {
        if (const auto self = weak.lock())
            self->Look(serial);
    });
}

void DeviceConnection::Look(uint64_t serial) {
    std::string session;
    {
        MutexLock lock(stateMutex_);
        if (closed_ || looking_ || serial != lookSerial_)
            return;
        looking_ = true;
        lastLook_ = Clock::now();
        session = session_;
    }
    SendLook(session);
}

void DeviceConnection::SendLook(const std::string& session) {
    HttpRequest request = Heartbeat(session);
    if (session.empty()) {
        request.url = address_.Url(&Api::GetUrlLoginCapabilities);
        request.body = Api::GetLoginCapabilitiesRequestData("");
    }
    runtime_->Reactor().Post(std::move(request),
                             [weak = weak_from_this(), session](const HttpReply& reply) {
                                 if (const auto self = weak.lock())
                                     self->OnLook(session, reply);
                             });
}

void DeviceConnection::OnLook(const std::string& session, const HttpReply& reply) {
    if (reply.arrived && !session.empty() && WantsLogin(AnswerCodeOf(reply.body)))
        Forget(session);
    if (reply.arrived)
        NoteUp();
    bool login = false;
    {
        MutexLock lock(stateMutex_);
        looking_ = false;
        ++endedLooks_;
        failedLooks_ = reply.arrived ? 0 : failedLooks_ + 1;
        login = reply.arrived && session_.empty() && pacer_.Left(Clock::now()).count() == 0;
        changed_.NotifyAll();
        if (!reply.deviceDown)
            LookIn(login ? runtime_->Settings().heartbeat : NextLook());
    }
    if (reply.deviceDown)
        NoteDown(reply.error);
    if (login)
        BeginLogin({});
}

HttpRequest DeviceConnection::Heartbeat(const std::string& session) const {
    return {address_.Url(&Api::GetUrlHeartbeat), Api::GetHeartbeatRequestData(session.c_str()),
            session};
}

milliseconds DeviceConnection::NextLook() const {
    const FamilySettings& settings = runtime_->Settings();
    if (health_ == Health::kDown || failedLooks_ > 0)
        return Doubled(kFirstGap, failedLooks_, settings.maxProbeGap);
    const milliseconds left = pacer_.Left(Clock::now());
    if (session_.empty() && pacer_.Refused() == 0 && !loggingIn_)
        return std::max(left, kFirstGap);
    return std::max(left, Doubled(settings.heartbeat, pacer_.Refused(),
                                  std::max(settings.heartbeat, kMaxRefusedGap)));
}

void DeviceConnection::NoteReply(const HttpReply& reply) {
    if (reply.deviceDown)
        NoteDown(reply.error);
    else if (reply.arrived)
        NoteUp();
}

void DeviceConnection::NoteUp() {
    MutexLock lock(stateMutex_);
    if (health_ == Health::kDown)
        VMS_LOG(1, "HttpDevice", "%s: up again", address_.Label().c_str());
    health_ = Health::kUp;
    changed_.NotifyAll();
}

void DeviceConnection::NoteDown(const std::string& why) {
    MutexLock lock(stateMutex_);
    if (health_ != Health::kDown)
        VMS_LOG(2, "HttpDevice", "%s: down: %s", address_.Label().c_str(), why.c_str());
    health_ = Health::kDown;
    settled_ = true;
    changed_.NotifyAll();
    if (!looking_)
        LookIn(NextLook());
}

}  // namespace vms::httpdevice
