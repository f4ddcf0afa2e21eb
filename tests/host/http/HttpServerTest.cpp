// The server's HTTP side on raw sockets: what it takes, what it refuses, and how it ends.
#include <gmock/gmock-matchers.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "host/http/HttpAccess.h"
#include "tests/host/stream/StreamServerFixture.h"
#include "tests/support/TestHttp.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using vms::HttpReply;
using vms::HttpRequest;
using vms::test::Fetch;
using vms::test::Gate;
using vms::test::TestHttp;
using vms::test::TestPlayer;
using vms::test::TestResponse;
using vms::test::TestSocket;

class HttpServerTest : public vms::test::StreamServerFixture {
protected:
    void Serve(vms::HttpHandler handler, const vms::HttpConfig& config = Anywhere()) {
        Start({}, {}, std::move(handler), config);
    }

    /// Status of the answer to bytes that may be no request at all; then the server must hang up.
    std::string StatusOf(const std::string& bytes) {
        TestSocket socket(Port());
        std::string answer;
        EXPECT_TRUE(socket.Send(bytes));
        EXPECT_TRUE(socket.ReadToEnd(answer)) << testing::PrintToString(bytes.substr(0, 40));
        return answer.substr(0, answer.find(' ') + 4);
    }
};

void Echo(const HttpRequest& request, HttpReply& reply) {
    std::string text = request.method + " " + request.path;
    for (const auto& [name, value] : request.query)
        text += " " + name + "=" + value;
    reply.Send({200, "text/plain", text + " " + request.body, {}});
}

TEST_F(HttpServerTest, RequestsFollowEachOtherOnOneConnection) {
    Serve(Echo);
    TestHttp client(Port());
    for (const char* body : {"one", "two"}) {
        client.Send("POST", "/a%20b?x=1%2B+2&y", body);
        EXPECT_EQ(client.Read().body, std::string("POST /a b x=1+ 2 y= ") + body);
    }
    client.Send("GET", "/first");
    client.Send("GET", "/second");
    EXPECT_EQ(client.Read().body, "GET /first ");
    EXPECT_EQ(client.Read().body, "GET /second ");

    client.Send("HEAD", "/health");
    TestResponse head;
    ASSERT_TRUE(client.ReadHead(head));
    EXPECT_EQ(head.headers["content-length"], "12");
    client.Send("GET", "/after", "", {"Connection: close"});
    EXPECT_EQ(client.Read().body, "GET /after ");
    std::string rest;
    EXPECT_TRUE(client.Socket().ReadToEnd(rest));
    EXPECT_EQ(rest, "");
}

TEST_F(HttpServerTest, WhatIsNoRequestIsRefusedAndWhatIsTooLongToo) {
    std::atomic<int> handled{0};
    Serve([&](const HttpRequest& request, HttpReply& reply) {
        ++handled;
        Echo(request, reply);
    });
    EXPECT_EQ(StatusOf("\x16\x03\x01\x02 hello over TLS\r\n\r\n"), "HTTP/1.1 400");
    EXPECT_EQ(StatusOf("GET / HTTP/7.0\r\n\r\n"), "HTTP/1.1 400");
    EXPECT_EQ(StatusOf("GET /%4 HTTP/1.1\r\n\r\n"), "HTTP/1.1 400");
    EXPECT_EQ(StatusOf("GET /?%zz HTTP/1.1\r\n\r\n"), "HTTP/1.1 400");
    EXPECT_EQ(StatusOf("GET elsewhere HTTP/1.1\r\n\r\n"), "HTTP/1.1 400");
    EXPECT_EQ(StatusOf("POST / HTTP/1.1\r\nContent-Length: -5\r\n\r\n"), "HTTP/1.1 400");
    EXPECT_EQ(StatusOf("GET / HTTP/1.1\r\nX: " + std::string(20'000, 'x') + "\r\n\r\n"),
              "HTTP/1.1 431");
    EXPECT_EQ(StatusOf("POST / HTTP/1.1\r\nContent-Length: 99999999\r\n\r\n" +
                       std::string(16 << 20, 'x')),
              "HTTP/1.1 413");
    EXPECT_EQ(handled, 0);
    EXPECT_EQ(Fetch(Port(), "POST", "/", std::string(4 << 20, 'x')).status, 200);
}

TEST_F(HttpServerTest, ATokenAndTheOwnSiteAreAskedFor) {
    vms::HttpConfig config = Anywhere();
    config.token = "s3cret+";
    Serve(Echo, config);
    const auto status = [this](const std::string& target, const std::vector<std::string>& headers) {
        return Fetch(Port(), "GET", target, "", headers).status;
    };
    EXPECT_EQ(status("/", {}), 401);
    EXPECT_EQ(status("/", {"Authorization: Bearer s3cret"}), 401);
    EXPECT_EQ(status("/", {"Authorization: Basic s3cret+"}), 401);
    EXPECT_EQ(status("/?token=", {}), 401);
    EXPECT_EQ(status("/", {"Authorization: Bearer s3cret+"}), 200);
    EXPECT_EQ(status("/?token=s3cret%2B", {}), 200);
    EXPECT_EQ(status("/healthz", {}), 200);
    EXPECT_EQ(Fetch(Port(), "GET", "/").headers["www-authenticate"], "Bearer");

    const std::string good = "Authorization: Bearer s3cret+";
    EXPECT_EQ(status("/", {good, "Origin: http://localhost"}), 200);
    EXPECT_EQ(status("/", {good, "Origin: http://elsewhere"}), 403);
    EXPECT_EQ(status("/", {good, "Origin: http://localhost.elsewhere"}), 403);
    EXPECT_EQ(status("/", {good, "Origin: null"}), 403);

    EXPECT_THROW(TestPlayer(Port(), 0, "/stream"), std::runtime_error);
    EXPECT_EQ(TestPlayer(Port(), 0, "/stream?token=s3cret%2B").Ask(TV_STREAM_PREVIEW_START, "k"),
              0);
}

TEST(HttpAccess, WithoutATokenOnlyOwnNamesAndAddressesAreAnswered) {
    const std::set<std::string> names{"", "nvr.example"};
    const vms::HttpAccess open("", names);
    const vms::HttpAccess guarded("secret", names);
    HttpRequest request;
    request.path = "/api/devices";
    request.authorization = "Bearer secret";
    for (const char* own : {"", "localhost", "localhost:8080", "nvr.example:80", "127.0.0.1:8080",
                            "10.1.2.3", "[::1]:8080", "[fe80::1]"}) {
        request.host = own;
        EXPECT_EQ(open.Refusal(request), 0) << own;
    }
    for (const char* foreign : {"rebound.example", "localhost.example:8080", "127.0.0.1.example",
                                "[rebound.example]", "1.2.3", "[", ":x["}) {
        request.host = foreign;
        request.origin = std::string("http://") + foreign;
        EXPECT_EQ(open.Refusal(request), 403) << foreign;
        EXPECT_EQ(guarded.Refusal(request), 0) << foreign;
    }
}

TEST_F(HttpServerTest, AHandlerThatThrowsIsAFailure) {
    Serve([](const HttpRequest& request, HttpReply& reply) {
        if (request.path == "/late") {
            reply.Begin(200, "text/plain");
            reply.WriteLine("half");
        }
        if (request.path == "/odd")
            throw 5;
        throw std::runtime_error("as told");
    });
    TestHttp client(Port());
    for (const char* path : {"/early", "/odd"}) {
        client.Send("GET", path);
        EXPECT_EQ(client.Read().status, 500);
    }
    client.Send("GET", "/late");
    EXPECT_EQ(client.Read().status, 0) << "half an answer must not look whole";
}

TEST_F(HttpServerTest, LinesComeOneByOneAndOldClientsGetThemUnframed) {
    Gate gate;
    Serve([&](const HttpRequest& request, HttpReply& reply) {
        reply.Begin(200, "text/plain");
        reply.WriteLine("one");
        if (request.path == "/waits" && !gate.Wait())
            return;
        reply.WriteLine("two");
        reply.End();
    });
    TestHttp client(Port());
    TestResponse response;
    std::string line;
    client.Send("POST", "/waits");
    ASSERT_TRUE(client.ReadHead(response));
    ASSERT_TRUE(client.ReadChunk(line));
    EXPECT_EQ(line, "one\n");
    gate.Open();
    ASSERT_TRUE(client.ReadChunk(line));
    EXPECT_EQ(line, "two\n");
    ASSERT_TRUE(client.ReadChunk(line));
    EXPECT_EQ(line, "");
    client.Send("POST", "/");
    EXPECT_EQ(client.Read().body, "one\ntwo\n");

    TestSocket old(Port());
    EXPECT_TRUE(old.Send("GET / HTTP/1.0\r\n\r\n"));
    ASSERT_TRUE(old.ReadToEnd(line));
    EXPECT_THAT(line, testing::EndsWith("\r\n\r\none\ntwo\n"));
}

TEST_F(HttpServerTest, CommandsThatWaitKeepNobodyFromReading) {
    constexpr size_t kMost = 64;
    Gate gate;
    std::atomic<size_t> waiting{0};
    Serve([&](const HttpRequest& request, HttpReply& reply) {
        if (request.path == "/waits") {
            ++waiting;
            reply.Send({gate.Wait() ? 200 : 500, "text/plain", "", {}});
        } else {
            Echo(request, reply);
        }
    });
    std::vector<std::unique_ptr<TestHttp>> clients;
    for (size_t i = 0; i < kMost; ++i) {
        clients.push_back(std::make_unique<TestHttp>(Port()));
        clients.back()->Send("POST", "/waits");
    }
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (waiting < kMost && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(1ms);
    ASSERT_EQ(waiting, kMost);
    EXPECT_EQ(Fetch(Port(), "POST", "/waits").status, 503);
    EXPECT_EQ(Fetch(Port(), "GET", "/healthz").status, 200);
    gate.Open();
    for (const auto& client : clients)
        EXPECT_EQ(client->Read().status, 200);
    EXPECT_EQ(Fetch(Port(), "POST", "/waits").status, 200);
}

TEST_F(HttpServerTest, ItEndsThoughClientsKeepAsking) {
    Serve(Echo);
    const int port = Port();
    std::atomic<bool> stopped{false};
    std::atomic<int> answered{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < 6; ++i)
        clients.emplace_back([&, port] {
            while (!stopped) {
                try {
                    TestHttp client(port);
                    while (client.Send("POST", "/", "x") && client.Read().status == 200)
                        ++answered;
                } catch (const std::runtime_error&) {  // nobody listens any more
                }
            }
        });
    while (answered < 50)
        std::this_thread::sleep_for(1ms);
    TestSocket silent(port);
    TestSocket half(port);
    EXPECT_TRUE(half.Send("POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\nhalf"));
    auto stop = std::async(std::launch::async, [this] { server_->Stop(); });
    EXPECT_EQ(stop.wait_for(20s), std::future_status::ready);
    stop.get();
    server_.reset();
    stopped = true;
    for (std::thread& client : clients)
        client.join();
    std::string rest;
    EXPECT_TRUE(half.ReadToEnd(rest));
}

}  // namespace
