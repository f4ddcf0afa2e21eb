// The callers' side: requests, and the session they need.
#include "drivers/httpdevice/session/DeviceConnection.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "deviceapi/Tavero_Http_Encode.h"
#include "drivers/httpdevice/session/AnswerCode.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;

constexpr long kHttpOk = 200;

// A device that is down gets this long to show that it is back before a command fails.
constexpr std::chrono::milliseconds kGrace{25};
constexpr std::chrono::milliseconds kLookGap{200};
constexpr std::chrono::milliseconds kSettleTime{4000};
constexpr std::chrono::milliseconds kCancelTime{100};

}  // namespace

DeviceConnection::DeviceConnection(const __tagTvVideoParam& device,
                                   std::shared_ptr<FamilyRuntime> runtime)
    : address_(device),
      runtime_(std::move(runtime)),
      transfer_(runtime_->Settings(), runtime_->Reactor().Names()) {}

DeviceConnection::~DeviceConnection() {
    Close();
}

bool DeviceConnection::Call(const std::string& url, const std::string& body) {
    return Call(url, body, [](const std::string& answer) {
        return Api::DeSerializeCode(answer.c_str()) == 0;
    });
}

bool DeviceConnection::Call(const std::string& url, const std::string& body, const Reader& read,
                            AnswerBound bound) {
    if (!Admit())
        return false;
    MutexLock lock(requestMutex_);
    for (const bool last : {false, true}) {
        if (!EnsureSession())
            return false;
        const std::string session = Session();
        const HttpReply reply = Carry({url, body, session, bound});
        if (!reply.arrived || reply.status != kHttpOk)
            return false;
        if (read(reply.body))
            return true;
        const int code = AnswerCodeOf(reply.body);
        if (!Recover(code, session) || last) {
            VMS_LOG(2, "HttpDevice", "%s: code %d from %s", address_.Label().c_str(), code,
                    url.c_str());
            return false;
        }
    }
    return false;
}

bool DeviceConnection::Verify() {
    return Call(
        address_.Url(&Api::GetUrlHeartbeat), Api::GetHeartbeatRequestData(Session().c_str()),
        [](const std::string& answer) { return Api::DeSerializeHeartbeat(answer.c_str()) == 0; },
        kShortAnswer);
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
    }
    if (!BeginLogin({}))
        return false;
    MutexLock lock(stateMutex_);
    while (loggingIn_ && !closed_ && !runtime_->Cancelled())
        changed_.WaitUntil(stateMutex_, Clock::now() + kCancelTime);
    return !session_.empty() && !closed_;
}

/// @return whether it may help to try again
bool DeviceConnection::Recover(int code, const std::string& session) {
    if (code == kKeyProofOwed) {
        if (!keyProven_.exchange(true) && ProveKey(session))
            return true;
        LogOut(session);  // of no use
    } else if (!WantsLogin(code)) {
        return false;
    }
    Forget(session);
    return true;
}

bool DeviceConnection::ProveKey(const std::string& session) {
    KeyProof proof(address_, session);
    std::optional<HttpRequest> next = proof.Begin();
    while (next)
        next = proof.Take(Carry(std::move(*next)));
    return proof.Believed();
}

HttpReply DeviceConnection::Carry(HttpRequest request) {
    const std::string url = request.url;
    HttpReply reply = transfer_.Perform(std::move(request), runtime_->Cancelled());
    NoteReply(reply);
    if (!reply.arrived || reply.status != kHttpOk || !reply.error.empty())
        VMS_LOG(2, "HttpDevice", "%s: HTTP status %ld from %s %s", address_.Label().c_str(),
                reply.status, url.c_str(), reply.error.c_str());
    return reply;
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

void DeviceConnection::NoteChannels(int count, const std::string& session) {
    MutexLock lock(stateMutex_);
    channels_ = count;
    channelsSession_ = session;
}

bool DeviceConnection::MayHaveChannel(int channel) {
    MutexLock lock(stateMutex_);
    const bool known = channels_ > 0 && !session_.empty() && session_ == channelsSession_;
    return !known || (channel >= 0 && channel < channels_);
}

void DeviceConnection::RequireChannel(int channel) {
    if (!MayHaveChannel(channel))
        throw std::runtime_error(address_.Label() + ": no channel " + std::to_string(channel));
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
    if (session.empty() || session_ != session)
        return;
    session_.clear();
    pacer_.OnSessionLost(Clock::now());
}

void DeviceConnection::Close() {
    std::string session;
    std::vector<Then> waiting;
    {
        MutexLock lock(stateMutex_);
        closed_ = true;
        session.swap(session_);
        waiting.swap(waiting_);
        changed_.NotifyAll();
    }
    LogOut(session);
    for (const Then& then : waiting)
        then(false);
}

void DeviceConnection::LogOut(const std::string& session) {
    if (!session.empty())
        runtime_->Reactor().Post(
            {address_.Url(&Api::GetUrlLogout), Api::GetLogoutRequestData(session.c_str()), session},
            {});
}

}  // namespace vms::httpdevice
