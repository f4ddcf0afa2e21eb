#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/http/HttpServer.h"
#include "host/net/IoThread.h"
#include "host/net/SelfSigned.h"
#include "host/net/WireListener.h"
#include "host/process/LogSink.h"
#include "tests/support/TestHttp.h"

namespace vms::host::test {

using vms::test::Fetch;
using vms::test::TestHttp;
using vms::test::TestResponse;
using vms::test::TestSocket;

/// Waits for something that happens on another thread. @return false when it did not in 20 s
template <class Condition>
[[nodiscard]] bool Eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Lets everybody in.
inline void OpenGate(const HttpRequest&, const std::function<void(int)>& done) {
    done(0);
}

/// Lets those in that bring ?token=token.
inline void TokenGate(const HttpRequest& request, const std::function<void(int)>& done) {
    const auto token = request.query.find("token");
    done(token != request.query.end() && token->second == "token" ? 0 : 401);
}

/// An HTTP server in this process, on a socket, whose routes a test adds before Start.
class HttpServerFixture : public testing::Test {
protected:
    ~HttpServerFixture() override { Stop(); }

    void Start(HttpGate gate = OpenGate) {
        server_ = std::make_unique<HttpServer>(std::move(router_), std::move(gate), budget_, log_,
                                               settings_);
        listener_ =
            std::make_unique<WireListener>("127.0.0.1", 0, std::vector{&one_, &other_}, tls_, log_);
        listener_->Start([this](std::unique_ptr<Wire> wire, IoThread& io) {
            server_->Serve(std::move(wire), io);
        });
    }

    /// Once or more often.
    void Stop() {
        if (std::exchange(stopped_, true))
            return;
        if (listener_ != nullptr) {
            listener_->Stop();
            server_->Stop();
        }
        one_.Stop();
        other_.Stop();
    }

    int Port() const { return listener_->Port(); }

    /// All that is answered to some bytes, after which the server must hang up.
    std::string AnswerTo(const std::string& bytes) {
        TestSocket socket(Port());
        std::string answer;
        EXPECT_TRUE(socket.Send(bytes));
        EXPECT_TRUE(socket.ReadToEnd(answer)) << testing::PrintToString(bytes.substr(0, 80));
        return answer;
    }

    /// The same, but the status alone; 0 = none came.
    int StatusOf(const std::string& bytes) {
        const std::string answer = AnswerTo(bytes);
        return answer.rfind("HTTP/1.1 ", 0) == 0 ? std::atoi(answer.c_str() + 9) : 0;
    }

    HttpRouter router_;
    HttpSettings settings_;
    BodyBudget budget_{BodyBudget::kMost};
    LogSink log_{"test", LogPrinting::kNothing};
    IoThread one_;
    IoThread other_;
    std::unique_ptr<HttpServer> server_;
    std::shared_ptr<TlsContext> tls_;  ///< null = plain
    std::unique_ptr<WireListener> listener_;
    bool stopped_ = false;
};

}  // namespace vms::host::test
