// The callers' side: requests, and the logins they need.
#include "drivers/httpdevice/session/DeviceConnection.h"

#include <algorithm>
#include <utility>

#include "deviceapi/Tavero_Http_Encode.h"
#include "drivers/common/DriverLog.h"
#include "drivers/httpdevice/session/AnswerCode.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;

constexpr long kHttpOk = 200;

// A device that is down gets this long to show that it is back before a command fails.
constexpr std::chrono::milliseconds kGrace{25};
constexpr std::chrono::milliseconds kLookGap{200};
constexpr std::chrono::milliseconds kSettleTime{4000};

// A refused login is not tried again at once: devices lock accounts.
constexpr std::chrono::milliseconds kRefusalHold{5000};
constexpr std::chrono::milliseconds kFailureHold{500};

}  // namespace

DeviceConnection::DeviceConnection(const __tagTvVideoParam& device,
                                   std::shared_ptr<FamilyRuntime> runtime)
    : address_(device), runtime_(std::move(runtime)), transfer_(runtime_->Settings()) {}

DeviceConnection::~DeviceConnection() {
    Close();
}

bool DeviceConnection::Call(const std::string& url, const std::string& body) {
    return Call(url, body, [](const std::string& answer) {
        return Api::DeSerializeCode(answer.c_str()) == 0;
    });
}

bool DeviceConnection::Call(const std::string& url, const std::string& body, const Reader& read) {
    if (!Admit())
        return false;
    MutexLock lock(requestMutex_);
    for (const bool last : {false, true}) {
        if (!EnsureSession())
            return false;
        const std::string session = Session();
        const auto answer = Carry(url, body, session);
        if (!answer)
            return false;
        if (read(*answer))
            return true;
        const int code = AnswerCodeOf(*answer);
        if (last || !Recover(code, session)) {
            VMS_DRIVER_LOG(2, "HttpDevice", "%s: code %d from %s", address_.Label().c_str(), code,
                           url.c_str());
            return false;
        }
    }
    return false;
}

bool DeviceConnection::Verify() {
    return Call(
        address_.Url(&Api::GetUrlHeartbeat), Api::GetHeartbeatRequestData(Session().c_str()),
        [](const std::string& answer) { return Api::DeSerializeHeartbeat(answer.c_str()) == 0; });
}

bool DeviceConnection::Renew(const std::string& session) {
    if (!Admit())
        return false;
    MutexLock lock(requestMutex_);
    Forget(session);
    return EnsureSession();
}

/// Whether a request may be tried. What is down gets a short chance to be found up again.
bool DeviceConnection::Admit() {
    MutexLock lock(stateMutex_);
    if (closed_ || health_ != Health::kDown)
        return !closed_;
    const auto now = Clock::now();
    const bool due = !looking_ && now - lastLook_ >= kLookGap;
    if (due)
        LookIn({});
    if (!due && (!looking_ || now - lastLook_ > kGrace))
        return false;
    const uint64_t before = endedLooks_;
    while (health_ == Health::kDown && endedLooks_ == before && !closed_) {
        if (!changed_.WaitUntil(stateMutex_, now + kGrace))
            break;
    }
    return health_ != Health::kDown && !closed_;
}

bool DeviceConnection::EnsureSession() {
    {
        MutexLock lock(stateMutex_);
        if (closed_ || health_ == Health::kDown)
            return false;
        if (!session_.empty())
            return true;
        if (Clock::now() < refusedUntil_)
            return false;
    }
    return TryLogin();
}

bool DeviceConnection::TryLogin() {
    LoginOutcome outcome = LogIn(address_, MakeCarrier());
    const bool done = outcome.kind == LoginOutcome::Kind::kDone;
    const bool refused = outcome.kind == LoginOutcome::Kind::kRefused;
    VMS_DRIVER_LOG(done ? 1 : 2, "HttpDevice", "%s: %s", address_.Label().c_str(),
                   done ? "logged in" : outcome.reason);
    MutexLock lock(stateMutex_);
    if (!done)
        refusedUntil_ = Clock::now() + (refused ? kRefusalHold : kFailureHold);
    refusedLogins_ = refused ? refusedLogins_ + 1 : 0;
    settled_ = true;
    changed_.NotifyAll();
    if (!closed_) {
        session_ = outcome.session;
        return done;
    }
    lock.Unlock();
    LogOut(outcome.session);
    lock.Lock();
    return false;
}

bool DeviceConnection::Recover(int code, const std::string& session) {
    if (code == kKeyProofOwed)
        return ProveKey(address_, session, MakeCarrier());
    if (!WantsLogin(code))
        return false;
    Forget(session);
    return true;
}

Carrier DeviceConnection::MakeCarrier() {
    return [this](const std::string& url, const std::string& body, const std::string& session)
               VMS_NO_THREAD_SAFETY_ANALYSIS { return Carry(url, body, session); };
}

std::optional<std::string> DeviceConnection::Carry(const std::string& url, const std::string& body,
                                                   const std::string& session) {
    HttpReply reply = transfer_.Perform({url, body, session}, runtime_->Cancelled());
    if (reply.deviceDown)
        NoteDown(reply.error);
    else if (reply.arrived)
        NoteUp();
    const bool usable = reply.arrived && reply.status == kHttpOk;
    if (!usable || !reply.error.empty())
        VMS_DRIVER_LOG(2, "HttpDevice", "%s: HTTP status %ld from %s %s", address_.Label().c_str(),
                       reply.status, url.c_str(), reply.error.c_str());
    return usable ? std::optional(std::move(reply.body)) : std::nullopt;
}

std::string DeviceConnection::Session() {
    MutexLock lock(stateMutex_);
    return session_;
}

std::string DeviceConnection::SettledSession() {
    const auto deadline = Clock::now() + kSettleTime;
    MutexLock lock(stateMutex_);
    while (!settled_ && !closed_) {
        if (!changed_.WaitUntil(stateMutex_, deadline))
            break;
    }
    return session_;
}

bool DeviceConnection::IsDown() {
    MutexLock lock(stateMutex_);
    return closed_ || health_ == Health::kDown;
}

std::chrono::milliseconds DeviceConnection::TakeFaceTurn(std::chrono::milliseconds gap) {
    const auto now = Clock::now();
    MutexLock lock(stateMutex_);
    const auto turn = std::max(now, nextFaceTurn_);
    nextFaceTurn_ = turn + gap;
    return std::chrono::ceil<std::chrono::milliseconds>(turn - now);
}

void DeviceConnection::Forget(const std::string& session) {
    MutexLock lock(stateMutex_);
    if (session_ == session)
        session_.clear();
}

void DeviceConnection::Close() {
    std::string session;
    {
        MutexLock lock(stateMutex_);
        closed_ = true;
        session.swap(session_);
        changed_.NotifyAll();
    }
    LogOut(session);
}

void DeviceConnection::LogOut(const std::string& session) {
    if (!session.empty())
        runtime_->Reactor().Post(
            {address_.Url(&Api::GetUrlLogout), Api::GetLogoutRequestData(session.c_str()), session},
            {});
}

}  // namespace vms::httpdevice
