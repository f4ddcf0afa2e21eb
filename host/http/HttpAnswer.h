#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/http/BodyBudget.h"
#include "host/http/HttpExchange.h"
#include "host/http/HttpHead.h"
#include "host/net/Connection.h"
#include "platform/Mutex.h"

namespace vms::host {

/// The answer to one request, between its handler and the session of its client. What is answered
/// goes straight to the connection; the session hears of each step on its I/O thread. Thread-safe.
class HttpAnswer final : public HttpReply, public std::enable_shared_from_this<HttpAnswer> {
public:
    enum class Stage {
        kNone,      ///< nothing has been answered
        kPieces,    ///< begun, and goes on by Write
        kPulled,    ///< begun, and goes on as the body is asked
        kLive,      ///< begun, and without end
        kLiveOver,  ///< what has begun of it may still go out
        kComplete,  ///< all of it has been handed to the connection
        kBroken,    ///< must not look whole
    };

    /// @param changed called when the session should look at the answer, on its I/O thread
    HttpAnswer(std::shared_ptr<Connection> connection, std::function<void()> changed);
    ~HttpAnswer() override;

    /// What the handler gets: once it has let go of it the answer is ended, one way or another.
    std::shared_ptr<HttpReply> Handle();

    void Send(HttpResponse response) override VMS_EXCLUDES(mutex_);
    void SendBody(HttpResponse head, std::unique_ptr<HttpBody> body) override VMS_EXCLUDES(mutex_);
    void Begin(HttpResponse head) override VMS_EXCLUDES(mutex_);
    bool Write(std::string_view piece) override VMS_EXCLUDES(mutex_);
    void End() override VMS_EXCLUDES(mutex_);
    std::shared_ptr<Connection> BeginLive(HttpResponse head) override VMS_EXCLUDES(mutex_);
    void OnGone(std::function<void()> gone) override VMS_EXCLUDES(mutex_);
    bool IsGone() const override VMS_EXCLUDES(mutex_);

    /// Nothing more comes from the handler: a 500 if nothing has, and what is unended is broken
    /// off.
    void Abandon() VMS_EXCLUDES(mutex_);

    /// Has a function run on the session's I/O thread, unless the session has let go of the answer.
    void OnSession(std::function<void()> function) VMS_EXCLUDES(mutex_);

    // For the session, on its I/O thread:

    /// What the request is like, before it is handled.
    void SetRequest(unsigned version, bool isHead, bool keepsAlive) VMS_EXCLUDES(mutex_);
    /// Keeps what the request's body takes of the budget until the answer is complete.
    void Hold(BodyBudget::Share share) VMS_EXCLUDES(mutex_);
    /// The connection ends with this answer.
    void KeepNotAlive() VMS_EXCLUDES(mutex_);

    Stage CurrentStage() const VMS_EXCLUDES(mutex_);
    bool KeepsAlive() const VMS_EXCLUDES(mutex_);

    /// Sends what a pulled body has given, and asks it for more once nothing waits.
    void Advance() VMS_EXCLUDES(mutex_);

    /// Lets go of the connection: an answer that is not complete has lost its client.
    void Detach() VMS_EXCLUDES(mutex_);

private:
    bool IsOpen() const VMS_REQUIRES(mutex_) {
        return connection_ != nullptr && stage_ == Stage::kNone;
    }
    void Change(Stage stage) VMS_REQUIRES(mutex_);
    bool SendBytes(std::string_view bytes) VMS_REQUIRES(mutex_);
    bool SendPiece(std::string_view piece) VMS_REQUIRES(mutex_);
    bool BeginUnended(HttpResponse& head) VMS_REQUIRES(mutex_);
    void BeginPulled(const HttpResponse& head, std::unique_ptr<HttpBody> body) VMS_REQUIRES(mutex_);
    void Finish() VMS_REQUIRES(mutex_);
    void EndLive() VMS_REQUIRES(mutex_);
    void TakePulled(std::optional<std::string> piece) VMS_REQUIRES(mutex_);
    void Pulled(uint64_t serial, std::optional<std::string> piece) VMS_EXCLUDES(mutex_);

    const std::function<void()> changed_;
    mutable Mutex mutex_;
    std::shared_ptr<Connection> connection_ VMS_GUARDED_BY(mutex_);  ///< null = detached
    Stage stage_ VMS_GUARDED_BY(mutex_) = Stage::kNone;
    bool isHead_ VMS_GUARDED_BY(mutex_) = false;
    HttpFraming framing_ VMS_GUARDED_BY(mutex_);
    BodyBudget::Share share_ VMS_GUARDED_BY(mutex_);
    std::function<void()> gone_ VMS_GUARDED_BY(mutex_);
    // Of a pulled body; the I/O thread alone destroys it:
    std::unique_ptr<HttpBody> body_ VMS_GUARDED_BY(mutex_);
    std::optional<uint64_t> left_ VMS_GUARDED_BY(mutex_);  ///< bytes to come; unset = not known
    uint64_t pulls_ VMS_GUARDED_BY(mutex_) = 0;
    bool asked_ VMS_GUARDED_BY(mutex_) = false;     ///< for a piece that has not come
    bool hasPiece_ VMS_GUARDED_BY(mutex_) = false;  ///< one has come that has not been sent
    std::optional<std::string> piece_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
