// Logins of a connection. Requests go over the family's one thread for what nobody waits for,
// hashing over threads of its own: a device that is slow with either holds up nobody else.
#include <exception>
#include <utility>

#include "drivers/httpdevice/session/AnswerCode.h"
#include "drivers/httpdevice/session/DeviceConnection.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {

void DeviceConnection::VerifyThen(Then then) {
    const std::string session = Session();
    if (session.empty())
        return WithSession(std::move(then));
    runtime_->Reactor().Post(Heartbeat(session), [self = shared_from_this(), session,
                                                  then = std::move(then)](const HttpReply& reply) {
        self->OnVerified(session, reply, then);
    });
}

void DeviceConnection::OnVerified(const std::string& session, const HttpReply& reply,
                                  const Then& then) {
    NoteReply(reply);
    const int code = AnswerCodeOf(reply.body);
    if (!WantsLogin(code))
        return then(code == kDone);
    Forget(session);
    WithSession(then);
}

void DeviceConnection::RenewThen(const std::string& session, Then then) {
    Forget(session);
    WithSession(std::move(then));
}

void DeviceConnection::WithSession(Then then) {
    bool known = false;
    bool ready = false;
    {
        MutexLock lock(stateMutex_);
        ready = !session_.empty() && !closed_;
        known = ready || closed_ || health_ == Health::kDown;
    }
    if (known || !BeginLogin(then))
        then(ready);
}

/// Begins a login unless one is under way.
/// @param then null, or hears of its end
/// @return false when there may be none; then does not hear anything
bool DeviceConnection::BeginLogin(Then then) {
    {
        MutexLock lock(stateMutex_);
        const bool mayBegin = pacer_.Left(Clock::now()).count() == 0 && session_.empty();
        if (closed_ || (!loggingIn_ && !mayBegin))
            return false;
        if (then)
            waiting_.push_back(std::move(then));
        if (std::exchange(loggingIn_, true))
            return true;
    }
    auto dialog = std::make_shared<LoginDialog>(address_);
    HttpRequest first = dialog->Begin();
    SendLogin(std::move(dialog), std::move(first));
    return true;
}

/// What is under way holds the connection, so that a session which comes of it is logged out.
void DeviceConnection::SendLogin(std::shared_ptr<LoginDialog> dialog, HttpRequest request) {
    runtime_->Reactor().Post(
        std::move(request),
        [self = shared_from_this(), dialog = std::move(dialog)](const HttpReply& reply) {
            self->NoteReply(reply);
            self->runtime_->Logins().Run([self, dialog, reply] { self->StepLogin(dialog, reply); });
        });
}

void DeviceConnection::StepLogin(const std::shared_ptr<LoginDialog>& dialog,
                                 const HttpReply& reply) {
    std::optional<HttpRequest> next;
    try {
        next = dialog->Take(reply);
    } catch (const std::exception& error) {
        VMS_LOG(3, "HttpDevice", "%s: %s", address_.Label().c_str(), error.what());
    }
    bool closed = false;
    {
        MutexLock lock(stateMutex_);
        closed = closed_;
    }
    if (next && !closed)
        return SendLogin(dialog, std::move(*next));
    if (dialog->Outcome().kind != LoginOutcome::Kind::kDone)
        VMS_LOG(2, "HttpDevice", "%s: %s, HTTP status %ld %s", address_.Label().c_str(),
                dialog->Outcome().reason, reply.status, reply.error.c_str());
    EndLogin(dialog->Outcome());
}

void DeviceConnection::EndLogin(const LoginOutcome& outcome) {
    std::vector<Then> waiting;
    bool kept = false;
    {
        MutexLock lock(stateMutex_);
        pacer_.OnLogin(outcome.kind, Clock::now());
        kept = outcome.kind == LoginOutcome::Kind::kDone && !closed_;
        if (kept)
            session_ = outcome.session;
        keyProven_ = false;
        loggingIn_ = false;
        settled_ = true;
        waiting.swap(waiting_);
        changed_.NotifyAll();
        if (!kept && !closed_ && health_ != Health::kDown)
            LookIn(NextLook());
    }
    if (kept)
        VMS_LOG(1, "HttpDevice", "%s: logged in", address_.Label().c_str());
    else
        LogOut(outcome.session);
    for (const Then& then : waiting)
        then(kept);
}

}  // namespace vms::httpdevice
