// The HTTP server on raw sockets: what it takes for a request, what it refuses, and whom it lets
// in.
#include <gmock/gmock-matchers.h>
#include <boost/asio/post.hpp>

#include <array>
#include <atomic>
#include <future>

#include "tests/host/http/HttpServerFixture.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using test::Eventually;
using test::Fetch;
using test::TestHttp;
using test::TestResponse;
using test::TestSocket;
using testing::HasSubstr;

void Echo(const HttpRequest& request, const std::shared_ptr<HttpReply>& reply) {
    std::string text = request.method + " " + request.path;
    for (const auto& [name, value] : request.query)
        text += " " + name + "=" + value;
    reply->Send({200, "text/plain", text + " " + request.body, {}});
}

class HttpServerTest : public test::HttpServerFixture {
protected:
    void StartEcho(HttpGate gate = test::OpenGate) {
        const auto counted = [this](const HttpRequest& request, const auto& reply) {
            ++handled_;
            Echo(request, reply);
        };
        router_.Add("GET", "/", counted);
        router_.Add("POST", "/", counted);
        Start(std::move(gate));
    }

    std::atomic<int> handled_{0};
};

TEST_F(HttpServerTest, RequestsFollowEachOtherOnOneConnection) {
    StartEcho();
    TestHttp client(Port());
    for (const char* body : {"one", "two"}) {
        client.Send("POST", "/a%20b?x=1%2B+2&y&x=3", body);
        EXPECT_EQ(client.Read().body, std::string("POST /a b x=1+ 2 y= ") + body);
    }
    client.Send("GET", "/first");
    client.Send("POST", "/second", "between");
    client.Send("GET", "/third");
    EXPECT_EQ(client.Read().body, "GET /first ");
    EXPECT_EQ(client.Read().body, "POST /second between");
    EXPECT_EQ(client.Read().body, "GET /third ");

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

TEST_F(HttpServerTest, RequestsComeInAnyPieces) {
    StartEcho();
    TestSocket socket(Port());
    const std::string bytes =
        "\r\nPOST http://Host.example:80/x?y=1 HTTP/1.1\r\nHost: other\r\n"
        "Transfer-Encoding: Chunked\r\n\r\n3;a=b\r\nabc\r\n0A\r\n0123456789\r\n0\r\nT: x\r\n\r\n"
        "GET http://h HTTP/1.0\r\n\r\n";
    for (const char byte : bytes)
        ASSERT_TRUE(socket.Send({&byte, 1}));
    std::string answer;
    ASSERT_TRUE(socket.ReadToEnd(answer));
    EXPECT_THAT(answer, HasSubstr("\r\n\r\nPOST /x y=1 abc0123456789HTTP/1.1 200"));
    EXPECT_THAT(answer, testing::EndsWith("\r\n\r\nGET / "));
}

TEST_F(HttpServerTest, WhatIsNoRequestIsRefused) {
    StartEcho();
    const std::string host = "Host: h\r\n";
    const auto get = [&](const std::string& target, const std::string& headers) {
        return "GET " + target + " HTTP/1.1\r\n" + headers + "\r\n";
    };
    const std::vector<std::string> broken{
        "\x16\x03\x01\x02 hello over TLS",
        "GET / HTTP/7.0\r\n\r\n",
        "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n",
        get("/%4", host),
        get("/?%zz", host),
        get("/a%00b", host),
        get("/a/../b", host),
        get("/a/%2e%2E", host),
        get("/a#b", host),
        get("elsewhere", host),
        get("ftp://h/", host),
        get("http:///", host),
        get("http://user@h/", host),
        get("/", ""),
        get("/", host + host),
        get("/", "Host: h, i\r\n"),
        get("/", host + "Authorization: a\r\nAuthorization: b\r\n"),
        get("/", host + "Content-Length: -5\r\n"),
        get("/", host + "Content-Length: 5, 5\r\n"),
        get("/", host + "Content-Length: 5\r\nContent-Length: 5\r\n"),
        get("/", host + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n"),
        get("/", host + "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n"),
        get("/", host + "Transfer-Encoding: gzip, chunked\r\n"),
        get("/", host + "Transfer-Encoding: xchunked\r\n"),
        get("/", host + "Transfer-Encoding: gzip\r\n"),
        get("/", host + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n"),
        get("/", host + "Transfer-Encoding: chunked\r\n") + "zz\r\n\r\n",
        get("/", host + "Transfer-Encoding: chunked\r\n") + "3\r\nabcdefgh",
        "GET / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"};
    for (const std::string& bytes : broken)
        EXPECT_EQ(StatusOf(bytes), 400) << testing::PrintToString(bytes);
    EXPECT_EQ(StatusOf(get("/", host + "Expect: a miracle\r\n")), 417);
    EXPECT_EQ(handled_, 0);
    EXPECT_EQ(StatusOf(get("/", host + "Connection: close\r\n")), 200);
    EXPECT_EQ(StatusOf("GET / HTTP/1.0\r\n\r\n"), 200);
}

TEST_F(HttpServerTest, WhatIsTooLongIsRefused) {
    StartEcho();
    const std::string head = "POST / HTTP/1.1\r\nHost: h\r\n";
    const std::string chunked = head + "Transfer-Encoding: chunked\r\n\r\n";
    EXPECT_EQ(StatusOf(head + "X: " + std::string(20'000, 'x') + "\r\n\r\n"), 431);
    EXPECT_EQ(StatusOf(head + "X: " + std::string(20'000, 'x')), 431);
    EXPECT_EQ(StatusOf(head + "Content-Length: 99999999\r\n\r\n" + std::string(16 << 20, 'x')),
              413);
    EXPECT_EQ(StatusOf(head + "Expect: 100-continue\r\nContent-Length: 99999999\r\n\r\n"), 413);
    EXPECT_EQ(StatusOf(chunked + "4FFFFFF\r\n" + std::string(6 << 20, 'x')), 413);
    EXPECT_EQ(StatusOf(chunked + "FFFFFFFFFFFFFFFF\r\n" + std::string(6 << 20, 'x')), 413);

    // Chunk extensions and trailer share the header's bound, however they come.
    EXPECT_EQ(StatusOf(chunked + "1;" + std::string(20'000, 'e')), 431);
    std::string chunks;
    for (int i = 0; i < 200; ++i)
        chunks += "1;" + std::string(100, 'e') + "\r\nx\r\n";
    EXPECT_EQ(StatusOf(chunked + chunks), 431);
    EXPECT_EQ(StatusOf(chunked + "0\r\nT: " + std::string(20'000, 't')), 431);
    EXPECT_EQ(StatusOf(chunked + "0\r\nT: " + std::string(16'330, 't') + "\r\n\r\n"), 431);
    EXPECT_EQ(handled_, 0);
    EXPECT_EQ(Fetch(Port(), "POST", "/", std::string(4 << 20, 'x')).status, 200);
}

TEST_F(HttpServerTest, ABodyOfTinyChunksEnds) {
    settings_.longestBody = 64 << 10;
    StartEcho();
    std::string chunks;
    for (int i = 0; i < (64 << 10); ++i)
        chunks += "1\r\nx\r\n";
    EXPECT_EQ(StatusOf("POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks),
              400);
    EXPECT_EQ(handled_, 0);
}

TEST_F(HttpServerTest, WhoeverExpectsIsToldToContinueOnceLetIn) {
    StartEcho(test::TokenGate);
    TestHttp client(Port());
    const std::vector<std::string> headers{"Expect: 100-Continue", "Content-Length: 4"};
    client.Send("POST", "/?token=token", "", headers);
    TestResponse response;
    ASSERT_TRUE(client.ReadHead(response));
    EXPECT_EQ(response.status, 100);
    ASSERT_TRUE(client.Socket().Send("body"));
    EXPECT_THAT(client.Read().body, HasSubstr(" body"));

    client.Send("POST", "/", "", headers);
    EXPECT_EQ(client.Read().status, 401);
}

TEST_F(HttpServerTest, NothingOfABodyIsKeptBeforeItsSenderIsLetIn) {
    std::promise<std::function<void(int)>> asked;
    auto done = asked.get_future();
    StartEcho([&](const HttpRequest&, std::function<void(int)> answer) {
        asked.set_value(std::move(answer));
    });
    TestHttp client(Port());
    const std::string body(1 << 20, 'x');
    client.Send("POST", "/", "", {"Content-Length: 1048576"});
    ASSERT_TRUE(client.Socket().Send(std::string_view(body).substr(0, 100'000)));
    ASSERT_EQ(done.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(budget_.Used(), 0U);
    const auto letIn = done.get();
    std::thread([&] { letIn(0); }).join();
    EXPECT_TRUE(Eventually([this] { return budget_.Used() >= 100'000; }));
    ASSERT_TRUE(client.Socket().Send(std::string_view(body).substr(100'000)));
    EXPECT_EQ(client.Read().body, "POST / " + body);
    letIn(403);  // once is enough
    EXPECT_TRUE(Eventually([this] { return budget_.Used() == 0; }));
}

TEST_F(HttpServerTest, AGateThatSaysNothingEndsTheRequest) {
    settings_.request = 100ms;
    StartEcho([](const HttpRequest&, const std::function<void(int)>&) {});
    EXPECT_EQ(StatusOf("GET / HTTP/1.1\r\nHost: h\r\n\r\n"), 0);
    EXPECT_EQ(handled_, 0);
}

TEST_F(HttpServerTest, ARequestThatDoesNotEndIsAnsweredAndEnded) {
    settings_.request = 100ms;
    settings_.idle = 100ms;
    StartEcho();
    EXPECT_EQ(StatusOf("GET / HT"), 408);
    EXPECT_EQ(StatusOf("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 5\r\n\r\nhalf"), 408);
    EXPECT_EQ(AnswerTo(""), "");
    EXPECT_TRUE(Eventually([this] { return server_->Connections() == 0; }));
}

TEST(HttpRouter, FindsByPathPrefixAndMethod) {
    HttpRouter router;
    const HttpHandler handler = [](const HttpRequest&, const std::shared_ptr<HttpReply>&) {};
    router.Add("GET", "/a", handler);
    router.Add("POST", "/a", handler);
    router.Add("GET", "/live/", handler);
    router.Add("DELETE", "/live/kept/", handler);
    router.AddUpgrade("/stream", [](const HttpUpgrade&) {});
    const auto find = [&](const std::string& method, std::vector<std::string> segments,
                          std::vector<std::string>* rest = nullptr, bool upgrade = false) {
        HttpRequest request;
        request.method = method;
        request.segments = std::move(segments);
        for (const std::string& segment : request.segments)
            request.path += "/" + segment;
        HttpRouter::Match match = router.Find(request, upgrade);
        if (rest != nullptr)
            *rest = request.rest;
        if (match.upgrade != nullptr)
            return std::string("upgrade");
        return match.route != nullptr
                   ? "found"
                   : std::to_string(match.failure.status) + " " + match.failure.headers["Allow"];
    };
    std::vector<std::string> rest{"x"};
    EXPECT_EQ(find("GET", {"a"}, &rest), "found");
    EXPECT_EQ(rest.size(), 0U);
    EXPECT_EQ(find("POST", {"a"}), "found");
    EXPECT_EQ(find("PUT", {"a"}), "405 GET, HEAD, POST");
    EXPECT_EQ(find("GET", {"a", ""}), "404 ");
    EXPECT_EQ(find("GET", {"live", "cam/1", "0.ts"}, &rest), "found");
    EXPECT_EQ(rest, (std::vector<std::string>{"cam/1", "0.ts"}));
    EXPECT_EQ(find("GET", {"live/cam"}), "404 ") << "an encoded slash is no slash";
    EXPECT_EQ(find("DELETE", {"live", "kept", "x"}, &rest), "found");
    EXPECT_EQ(rest, std::vector<std::string>{"x"});
    EXPECT_EQ(find("GET", {"live"}), "404 ");
    EXPECT_EQ(find("GET", {"stream"}), "426 ");
    EXPECT_EQ(find("GET", {"stream"}, nullptr, true), "upgrade");
    EXPECT_EQ(find("GET", {"a"}, nullptr, true), "found");
}

TEST_F(HttpServerTest, MethodsThatAPathHasNotAreNamed) {
    router_.Add("GET", "/only", Echo);
    Start();
    TestHttp client(Port());
    client.Send("DELETE", "/only");
    TestResponse response = client.Read();
    EXPECT_EQ(response.status, 405);
    EXPECT_EQ(response.headers["allow"], "GET, HEAD");
    client.Send("GET", "/elsewhere");
    EXPECT_EQ(client.Read().status, 404);
    client.Send("HEAD", "/only");
    ASSERT_TRUE(client.ReadHead(response));
    EXPECT_EQ(response.status, 200);
    client.Send("POST", "/only", "a body that nobody reads");
    EXPECT_EQ(client.Read().status, 405);
}

TEST_F(HttpServerTest, AnUpgradeIsHandedOverWithAllThatCame) {
    std::promise<HttpUpgrade> taken;
    auto upgrade = taken.get_future();
    router_.AddUpgrade("/stream", [&](HttpUpgrade it) { taken.set_value(std::move(it)); });
    StartEcho();
    TestHttp client(Port());
    const std::string head =
        "GET /stream?key=1 HTTP/1.1\r\nHost: h\r\nConnection: keep-alive, Upgrade\r\n"
        "Upgrade: websocket\r\nX-Own: y\r\n\r\n";
    ASSERT_TRUE(
        client.Socket().Send("GET /before HTTP/1.1\r\nHost: h\r\n\r\n" + head + "\x81\x01"));
    EXPECT_EQ(client.Read().body, "GET /before ");
    ASSERT_EQ(upgrade.wait_for(20s), std::future_status::ready);
    HttpUpgrade it = upgrade.get();
    EXPECT_EQ(it.head, head);
    EXPECT_EQ(it.read, "\x81\x01");
    EXPECT_EQ(it.request.query["key"], "1");
    EXPECT_EQ(it.request.Header("x-OWN"), "y");
    EXPECT_EQ(it.request.peerAddress, "127.0.0.1");
    EXPECT_TRUE(it.connection->SendRaw("hello"));
    std::string answer;
    ASSERT_TRUE(client.Socket().Read(5, answer));
    EXPECT_EQ(server_->Connections(), 1U);

    // Nobody else reads.
    ASSERT_TRUE(client.Socket().Send("more"));
    std::array<char, 8> room{};
    std::promise<size_t> count;
    boost::asio::post(it.connection->Io().Context(), [&] {
        it.connection->GetWire().ReadSome(
            boost::asio::buffer(room),
            [&](boost::system::error_code, size_t bytes) { count.set_value(bytes); });
    });
    auto read = count.get_future();
    ASSERT_EQ(read.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(std::string(room.data(), read.get()), "more");
    server_->Stop();
    EXPECT_TRUE(it.connection->SendRaw("still there"));
    ASSERT_TRUE(client.Socket().Read(11, answer));
    Stop();
    it.connection = nullptr;
    EXPECT_EQ(server_->Connections(), 0U);
}

TEST_F(HttpServerTest, ItEndsThoughClientsKeepAsking) {
    StartEcho();
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
    EXPECT_TRUE(Eventually([&] { return answered >= 50; }));
    TestSocket silent(port);
    TestSocket half(port);
    EXPECT_TRUE(half.Send("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 10\r\n\r\nhalf"));
    auto stop = std::async(std::launch::async, [this] { Stop(); });
    EXPECT_EQ(stop.wait_for(20s), std::future_status::ready);
    stop.get();
    stopped = true;
    for (std::thread& client : clients)
        client.join();
    std::string rest;
    EXPECT_TRUE(half.ReadToEnd(rest));
}

}  // namespace
}  // namespace vms::host
