// HTTP over TLS, and what is said to those who come without.
#include <gmock/gmock-matchers.h>

#include "tests/host/http/HttpServerFixture.h"

namespace vms::host {
namespace {

using testing::HasSubstr;
using Reply = std::shared_ptr<HttpReply>;
using test::Fetch;
using test::TestHttp;
using test::TestResponse;
using test::TestSocket;

constexpr size_t kLong = 3'000'000;

std::string Pattern(size_t bytes) {
    std::string text(bytes, ' ');
    for (size_t i = 0; i < bytes; ++i)
        text[i] = static_cast<char>('a' + i * 7 % 26);
    return text;
}

class HttpTlsTest : public test::HttpServerFixture {
protected:
    HttpTlsTest() {
        tls_ = std::make_shared<TlsContext>([] { return MakeSelfSigned({"localhost"}); });
        settings_.isSecureOnly = true;
        router_.Add("GET", "/", [](const HttpRequest& request, const Reply& reply) {
            reply->Send({200, "", request.isSecure ? "secure" : "plain", {}});
        });
        router_.Add("GET", "/long", [](const HttpRequest&, const Reply& reply) {
            reply->Send({200, "", Pattern(kLong), {}});
        });
        router_.Add("GET", "/pieces", [](const HttpRequest&, const Reply& reply) {
            reply->Begin({});
            for (size_t at = 0; at < kLong / 10; at += 1000)
                reply->Write(Pattern(1000));
            reply->End();
        });
        router_.Add("POST", "/", [](const HttpRequest& request, const Reply& reply) {
            reply->Send({200, "", std::to_string(request.body == Pattern(kLong)), {}});
        });
    }

    std::unique_ptr<TestHttp> Secure() const {
        auto client = std::make_unique<TestHttp>(Port());
        EXPECT_TRUE(client->Socket().StartTls());
        return client;
    }
};

TEST_F(HttpTlsTest, RequestsAndAnswersOfAnyLengthPass) {
    Start();
    const auto client = Secure();
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(client->Send("GET", "/long"));
        EXPECT_TRUE(client->Send("GET", "/"));  // before the answer is read
        EXPECT_TRUE(client->Read().body == Pattern(kLong));
        EXPECT_EQ(client->Read().body, "secure");
        EXPECT_TRUE(client->Send("POST", "/", Pattern(kLong)));
        EXPECT_EQ(client->Read().body, "1");
        EXPECT_TRUE(client->Send("GET", "/pieces"));
        EXPECT_EQ(client->Read().body.size(), kLong / 10);
    }
}

TEST_F(HttpTlsTest, TheEndIsSaidAndHeard) {
    Start();
    auto client = Secure();
    EXPECT_TRUE(client->Send("GET", "/long", "", {"Connection: close"}));
    client->Socket().FinishSending();  // what has been asked for is still wanted
    EXPECT_TRUE(client->Read().body == Pattern(kLong));
    std::string rest;
    EXPECT_TRUE(client->Socket().ReadToEnd(rest));
    EXPECT_EQ(rest, "");
    EXPECT_TRUE(client->Socket().Tls()->PeerHasFinished());

    client = Secure();
    EXPECT_TRUE(client->Socket().Send("no request\r\n\r\n"));
    EXPECT_EQ(client->Read().status, 400);
    EXPECT_TRUE(client->Socket().ReadToEnd(rest));
}

TEST_F(HttpTlsTest, WhoComesWithoutIsSentToTlsUnlessThatWouldHideSomething) {
    Start();
    const auto location = [this](const std::string& method, const std::string& target) {
        TestResponse response;
        TestHttp client(Port());
        EXPECT_TRUE(client.Send(method, target));
        EXPECT_TRUE(client.ReadHead(response));
        EXPECT_EQ(response.status, response.headers.count("location") != 0 ? 308 : 400);
        return response.headers["location"];
    };
    EXPECT_EQ(location("GET", "/live/a%2fb/0.ts?stream=1"),
              "https://localhost/live/a%2fb/0.ts?stream=1");
    EXPECT_EQ(location("HEAD", "/"), "https://localhost/");
    EXPECT_EQ(location("POST", "/"), "");
    EXPECT_EQ(location("GET", "/?token=abc"), "");
    EXPECT_EQ(location("GET", "http://localhost/"), "");
    const TestResponse warned = Fetch(Port(), "GET", "/", "", {"Authorization: Bearer abc"});
    EXPECT_EQ(warned.status, 400);
    EXPECT_THAT(warned.body, HasSubstr("in the clear"));
    for (const std::string host : {"", "a@evil.example", "evil.example/x", "a b"})
        EXPECT_EQ(StatusOf("GET / HTTP/1.1\r\nHost: " + host + "\r\n\r\n"), 400) << host;
}

}  // namespace
}  // namespace vms::host
