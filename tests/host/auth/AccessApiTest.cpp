#include "host/auth/AccessApi.h"

#include <gmock/gmock-matchers.h>

#include "platform/Json.h"
#include "tests/host/TemporaryFolder.h"
#include "tests/host/http/HttpServerFixture.h"

namespace vms::host {
namespace {

using test::TestResponse;
using testing::HasSubstr;
using testing::StartsWith;

class AccessApiTest : public test::HttpServerFixture {
protected:
    AccessApiTest() {
        api_.AddTo(router_);
        router_.Add("GET", "/live/",
                    [this](const HttpRequest&, const std::shared_ptr<HttpReply>& reply) {
                        HttpResponse head;
                        head.contentType = "video/mp2t";
                        if (const auto connection = reply->BeginLive(head))
                            connection->SendRaw("picture");
                        MutexLock lock(mutex_);
                        watched_.push_back(reply);
                    });
        Start(doors_.Gate());
    }
    ~AccessApiTest() override { Stop(); }

    TestResponse Ask(const std::string& method, const std::string& target,
                     const std::string& body = {}, const std::string& cookie = {}) {
        std::vector<std::string> headers{"Origin: http://localhost"};
        if (!cookie.empty())
            headers.push_back("Cookie: " + cookie);
        return test::Fetch(Port(), method, target, body, headers);
    }
    int Status(const std::string& method, const std::string& target, const std::string& body = {},
               const std::string& cookie = {}) {
        return Ask(method, target, body, cookie).status;
    }
    /// @return the cookie
    std::string LogIn(const std::string& name, const std::string& password) {
        const TestResponse answer =
            Ask("POST", "/api/session",
                R"({"name": ")" + name + R"(", "password": ")" + password + R"("})");
        EXPECT_EQ(answer.status, 200) << answer.body;
        const auto header = answer.headers.find("set-cookie");
        if (header == answer.headers.end())
            return {};
        EXPECT_THAT(header->second, HasSubstr("; HttpOnly; SameSite=Strict"));
        return header->second.substr(0, header->second.find(';'));
    }
    void AddAdmin() {
        ASSERT_EQ(Status("POST", "/api/users",
                         R"({"name": "root", "password": "password", "role": "admin"})"),
                  201);
    }

    State state_{""};
    LogSink accessLog_{"access", LogPrinting::kNothing};
    Doors doors_{HostConfig{}, state_, accessLog_};
    AccessApi api_{doors_, accessLog_};
    Mutex mutex_;
    std::vector<std::shared_ptr<HttpReply>> watched_ VMS_GUARDED_BY(mutex_);
};

TEST_F(AccessApiTest, FromTheFirstUserOnALoginIsNeeded) {
    EXPECT_THAT(Ask("GET", "/api/session").body, HasSubstr("\"role\":\"admin\""));
    EXPECT_EQ(
        Status("POST", "/api/users", R"({"name": "v", "password": "password", "role": "viewer"})"),
        409);
    AddAdmin();
    EXPECT_EQ(Status("GET", "/api/users"), 401);
    const std::string cookie = LogIn("root", "password");
    EXPECT_EQ(Ask("GET", "/api/session", "", cookie).body,
              "{\"name\":\"root\",\"role\":\"admin\"}\n");
    EXPECT_THAT(Ask("GET", "/api/users", "", cookie).body, Not(HasSubstr("argon")));
    EXPECT_EQ(Status("DELETE", "/api/session", "", cookie), 200);
    EXPECT_EQ(Status("GET", "/api/session", "", cookie), 401);

    EXPECT_EQ(Status("POST", "/api/session", R"({"name": "root", "password": "wrong"})"), 401);
    const TestResponse often =
        Ask("POST", "/api/session", R"({"name": "root", "password": "password"})");
    EXPECT_EQ(often.status, 429);
    EXPECT_EQ(often.headers.at("retry-after"), "1");
    EXPECT_EQ(accessLog_.Lines().size(), 3U);
}

TEST_F(AccessApiTest, UsersComeChangeAndGo) {
    AddAdmin();
    const std::string root = LogIn("root", "password");
    const std::string bert = R"({"name": "bert", "password": "password", "role": "viewer"})";
    EXPECT_EQ(Status("POST", "/api/users", bert, root), 201);
    EXPECT_EQ(Status("POST", "/api/users", bert, root), 409);
    std::string cookie = LogIn("bert", "password");
    EXPECT_EQ(Status("GET", "/api/users", "", cookie), 403);
    EXPECT_EQ(Status("PATCH", "/api/users/bert", R"({"role": "admin"})", root), 200);
    EXPECT_EQ(Status("GET", "/api/session", "", cookie), 401) << "he logs in again";
    cookie = LogIn("bert", "password");
    EXPECT_EQ(Status("DELETE", "/api/users/root", "", cookie), 200);
    EXPECT_EQ(Status("GET", "/api/session", "", root), 401);
    EXPECT_EQ(Status("DELETE", "/api/users/bert", "", cookie), 409) << "the last admin stays";
    EXPECT_EQ(Status("PATCH", "/api/users/bert", R"({"role": "viewer"})", cookie), 409);

    EXPECT_EQ(Status("PATCH", "/api/session",
                     R"({"password": "password", "newPassword": "pass phrase"})", cookie),
              200);
    EXPECT_EQ(Status("GET", "/api/session", "", cookie), 401);
    const std::string one = LogIn("bert", "pass phrase");
    const std::string other = LogIn("bert", "pass phrase");
    EXPECT_EQ(Status("DELETE", "/api/session?everywhere=true", "", one), 200);
    EXPECT_EQ(Status("GET", "/api/session", "", other), 401);
}

TEST_F(AccessApiTest, BadRequestsAreToldWhatIsWrong) {
    const auto problem = [this](const char* path, const std::string& body) {
        const TestResponse answer = Ask("POST", path, body);
        EXPECT_EQ(answer.status, 400) << body;
        return answer.body;
    };
    const std::string rest = R"(, "password": "password", "role": "admin"})";
    EXPECT_THAT(problem("/api/users", "["), HasSubstr("JSON object"));
    EXPECT_THAT(problem("/api/users", R"({"name": 1)" + rest), HasSubstr("name"));
    EXPECT_THAT(problem("/api/users", R"({"name": "a b")" + rest), HasSubstr("letters"));
    EXPECT_THAT(problem("/api/users", R"({"name": "token")" + rest), HasSubstr("taken"));
    EXPECT_THAT(problem("/api/users", R"({"name": "a", "x": 1)" + rest), HasSubstr("nobody"));
    EXPECT_THAT(problem("/api/users", R"({"name": "a", "password": "short", "role": "admin"})"),
                HasSubstr("8 to"));
    EXPECT_THAT(problem("/api/users", R"({"name": "a", "password": "password", "role": "none"})"),
                HasSubstr("viewer, operator or admin"));
    EXPECT_THAT(problem("/api/tokens", R"({"name": "a", "role": "admin", "expires": 1})"),
                HasSubstr("past"));
    EXPECT_THAT(problem("/api/tokens", R"({"name": "a", "role": "admin", "expires": "soon"})"),
                HasSubstr("a time"));
    EXPECT_THAT(problem("/api/sign", R"({"path": "/api/users"})"), HasSubstr("/live"));
    EXPECT_THAT(problem("/api/sign", R"({"path": "/live/a/0.ts", "seconds": 1e99})"),
                HasSubstr("whole number"));
    EXPECT_EQ(Status("DELETE", "/api/users/nobody"), 404);
    EXPECT_EQ(Status("DELETE", "/api/users/"), 404);
}

TEST_F(AccessApiTest, ATokenIsShownOnceAndEndsWhatItOpenedWhenRemoved) {
    AddAdmin();
    const std::string root = LogIn("root", "password");
    const TestResponse made =
        Ask("POST", "/api/tokens",
            R"({"name": "robot", "role": "viewer", "expires": "2999-12-31T00:00:00Z"})", root);
    ASSERT_EQ(made.status, 201) << made.body;
    Json::Value text;
    ASSERT_TRUE(ParseJson(made.body.c_str(), text));
    const std::string token = text["token"].asString();
    EXPECT_EQ(text["expires"].asInt64(), 32503593600);
    const std::string listed = Ask("GET", "/api/tokens", "", root).body;
    EXPECT_THAT(listed, HasSubstr("robot"));
    EXPECT_THAT(listed, Not(HasSubstr(token)));

    test::TestSocket player(Port());
    ASSERT_TRUE(player.Send("GET /live/cam/0.ts?token=" + token + " HTTP/1.1\r\nHost: h\r\n\r\n"));
    std::string begun;
    ASSERT_TRUE(player.ReadUntil("picture", begun));
    EXPECT_THAT(begun, StartsWith("HTTP/1.1 200"));
    EXPECT_EQ(Status("DELETE", "/api/tokens/robot", "", root), 200);
    std::string rest;
    EXPECT_TRUE(player.ReadToEnd(rest)) << "the stream ends with the right to see it";
    EXPECT_EQ(Status("DELETE", "/api/tokens/robot", "", root), 404);
}

TEST_F(AccessApiTest, OverOneConnectionTheLatestRightCounts) {
    AddAdmin();
    const std::string root = LogIn("root", "password");
    const auto token = [&](const std::string& name) {
        Json::Value text;
        EXPECT_TRUE(ParseJson(
            Ask("POST", "/api/tokens", R"({"name": ")" + name + R"(", "role": "viewer"})", root)
                .body.c_str(),
            text));
        return text["token"].asString();
    };
    test::TestHttp proxy(Port());
    proxy.Send("GET", "/api/session?token=" + token("one"));
    EXPECT_EQ(proxy.Read().status, 200);
    proxy.Send("GET", "/live/cam/0.ts?token=" + token("other"));
    std::string begun;
    ASSERT_TRUE(proxy.Socket().ReadUntil("picture", begun));
    EXPECT_EQ(Status("DELETE", "/api/tokens/one", "", root), 200);
    EXPECT_EQ(Status("GET", "/api/session", "", root), 200);  // the end of "one" has been told
    {
        MutexLock lock(mutex_);
        ASSERT_EQ(watched_.size(), 1U);
        EXPECT_FALSE(watched_.front()->IsGone());
    }
    EXPECT_EQ(Status("DELETE", "/api/tokens/other", "", root), 200);
    std::string rest;
    EXPECT_TRUE(proxy.Socket().ReadToEnd(rest));
}

TEST_F(AccessApiTest, ASignedAddressIsAWayInForPlayers) {
    AddAdmin();
    const TestResponse made =
        Ask("POST", "/api/sign", R"({"path": "/live/cam/0.ts", "seconds": 60})",
            LogIn("root", "password"));
    Json::Value text;
    ASSERT_TRUE(ParseJson(made.body.c_str(), text)) << made.body;
    test::TestSocket player(Port());
    ASSERT_TRUE(player.Send("GET " + text["path"].asString() + " HTTP/1.1\r\nHost: h\r\n\r\n"));
    std::string begun;
    EXPECT_TRUE(player.ReadUntil("picture", begun));
}

}  // namespace
}  // namespace vms::host
