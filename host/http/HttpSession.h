#pragma once

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "host/http/GrantWatch.h"
#include "host/http/HttpAnswer.h"
#include "host/http/HttpPlaces.h"
#include "host/http/HttpRequestReader.h"
#include "host/http/HttpServer.h"

namespace vms::host {

/// What all sessions of a server share.
struct HttpContext {
    const HttpRouter router;
    const HttpGate gate;
    BodyBudget& budget;
    ILogHandler& log;
    const HttpSettings settings;
    const std::shared_ptr<HttpPlaces> places;
    boost::asio::thread_pool pool;  ///< where handlers run
};

/// One client over HTTP/1.x, one request after the other. Of its connection's I/O thread; keeps
/// itself alive until it is closed.
class HttpSession : public std::enable_shared_from_this<HttpSession> {
public:
    HttpSession(std::shared_ptr<HttpContext> context, std::unique_ptr<Wire> wire, IoThread& io);

    /// Serves from here on, if there is a place.
    void Start();

    /// Ends it, whatever goes on.
    void Close();

private:
    using Clock = std::chrono::steady_clock;

    enum class State {
        kHead,    ///< reads a request's head, or waits for it to begin
        kGate,    ///< waits to hear whether the request is let in
        kBody,    ///< reads its body
        kAnswer,  ///< is being answered
        kLinger,  ///< is through; what still comes is dropped
        kOver,
    };

    void TakePlace(std::shared_ptr<HttpPlaces::Place> place);
    void SetEvents();
    template <class Function>
    std::function<void()> Event(Function function);

    void Read();
    void OnRead(boost::system::error_code error, size_t count);
    void OnInput();
    void OnInputEnd(bool isOrderly);

    void AwaitRequest();
    void NewAnswer();
    void ReadHead();
    void AskGate();
    void OnGate(HttpAdmission admission);
    void Route();
    void Upgrade(const HttpUpgradeHook& hook);
    void ReadBody();
    void Handle();
    void StartAnswer();
    void Refuse(HttpResponse response);

    void OnAnswer();
    void AfterAnswer();
    void Linger();

    void SetTimer(std::chrono::milliseconds time);
    void OnTimer();
    void WatchAnswer();

    const std::shared_ptr<HttpContext> context_;
    IoThread& io_;
    std::unique_ptr<Wire> wire_;  ///< until there is a connection
    std::shared_ptr<HttpPlaces::Place> place_;
    std::shared_ptr<Connection> connection_;
    boost::asio::steady_timer timer_;
    State state_ = State::kHead;

    bool reading_ = false;
    std::vector<char> room_;     ///< where the wire puts what comes
    std::string input_;          ///< what has come and not been taken
    bool inputEnded_ = false;    ///< the client sends nothing more
    Clock::time_point endedAt_;  ///< when it said so
    GrantWatch grant_;

    // Of the request under way:
    bool begun_ = false;  ///< something of it has come
    std::unique_ptr<HttpRequestReader> reader_;
    const HttpRouter::Route* route_ = nullptr;
    std::shared_ptr<HttpAnswer> answer_;
    uint64_t sentBytes_ = 0;        ///< when last looked at
    Clock::time_point progressAt_;  ///< when that had changed
};

}  // namespace vms::host
