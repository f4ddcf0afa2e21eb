#include <gmock/gmock-matchers.h>

#include "host/auth/Rights.h"
#include "host/http/HttpTarget.h"
#include "host/text/HostError.h"
#include "module/CommandRecord.h"
#include "tests/host/auth/AuthFixture.h"

namespace vms::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

using Headers = std::vector<std::pair<std::string, std::string>>;

HttpRequest Request(const std::string& method, const std::string& target,
                    const Headers& headers = {}, const std::string& peer = "127.0.0.1") {
    HttpRequest request;
    request.method = method;
    request.target = target;
    request.host = "localhost";
    EXPECT_TRUE(ReadHttpTarget(target, request)) << target;
    request.headers = headers;
    request.authorization = request.Header("Authorization");
    request.origin = request.Header("Origin");
    request.peerAddress = peer;
    return request;
}

class DoorsTest : public test::AuthFixture {
protected:
    int Status(const HttpRequest& request) { return doors_->Admit(request).refusal; }
    int Status(const std::string& method, const std::string& target, const Headers& headers = {}) {
        return Status(Request(method, target, headers));
    }
    Doors::Entrance Enter(const std::string& uri, const std::string& authorization = {},
                          const std::string& method = "DESCRIBE") {
        Doors::Entrance entrance;
        doors_->Authenticate(method, uri, authorization, "10.0.0.1",
                             [&entrance](const Doors::Entrance& told) { entrance = told; });
        return entrance;
    }
    /// What a player answers to a challenge, as it travels.
    static std::string AnswerTo(const std::string& challenge, const std::string& user,
                                const std::string& password, const std::string& uri) {
        auto header = *ReadDigestHeader(challenge + ", username=" + Quoted(user) +
                                        ", uri=" + Quoted(uri) + ", response=0");
        header.qop = "";
        const std::string secret = user + ":" + header.realm + ":" + password;
        return "Digest username=" + Quoted(user) + ", realm=" + Quoted(header.realm) +
               ", nonce=" + Quoted(header.nonce) + ", uri=" + Quoted(uri) +
               ", algorithm=" + header.algorithm + ", response=" +
               Quoted(DigestResponse(header, "DESCRIBE", {Md5Hex(secret), Sha256Hex(secret)}));
    }
};

TEST_F(DoorsTest, WithNeitherUsersNorTokensOnlyThisMachineIsLetIn) {
    Open();
    EXPECT_EQ(doors_->Admit(Request("POST", "/api/commands")).identity.role, Role::kAdmin);
    EXPECT_EQ(Status(Request("GET", "/api/devices", {}, "::1")), 0);
    EXPECT_EQ(Status(Request("GET", "/api/devices", {}, "10.0.0.1")), 401);
    EXPECT_EQ(Status(Request("GET", "/healthz", {}, "10.0.0.1")), 0);
    HttpRequest rebound = Request("GET", "/api/devices");
    for (const char* own : {"", "localhost", "LOCALHOST:8080", "127.0.0.1:8080", "[::1]:8080"}) {
        rebound.host = own;
        EXPECT_EQ(Status(rebound), 0) << own;
    }
    for (const char* foreign : {"rebound.example", "localhost.example:8080", "127.0.0.1.example",
                                "[rebound.example]", "1.2.3", "[", "[::1", ":x["}) {
        rebound.host = foreign;
        EXPECT_EQ(Status(rebound), 403) << foreign;
    }
    EXPECT_EQ(Status("GET", "/api/devices", {{"Origin", "http://elsewhere"}}), 403);

    const auto grant = doors_->Admit(Request("GET", "/api/devices")).identity.grant;
    AddUser("anna", Role::kAdmin);
    EXPECT_EQ(Status("GET", "/api/devices"), 401);
    EXPECT_TRUE(grant->HasEnded()) << "who came in as nobody is out";
}

TEST_F(DoorsTest, ListeningForOthersNeedsUsersOrAToken) {
    Open();
    for (const char* here : {"127.0.0.1", "127.1.2.3", "::1", "localhost"})
        EXPECT_NO_THROW(doors_->RequireGuarded(here, "http.host")) << here;
    for (const char* open : {"0.0.0.0", "::", "", "10.0.0.1", "nvr.local"}) {
        try {
            doors_->RequireGuarded(open, "http.host");
            ADD_FAILURE() << open;
        } catch (const HostError& error) {
            EXPECT_THAT(error.what(), HasSubstr("vmshost user add"));
        }
    }
    HostConfig config;
    config.http.token = "secret";
    Open(config);
    EXPECT_NO_THROW(doors_->RequireGuarded("0.0.0.0", "http.host"));
}

TEST_F(DoorsTest, EachRoleMayWhatItsTableSays) {
    Open();
    std::map<Role, std::string> tokens;
    for (const Role role : {Role::kViewer, Role::kOperator, Role::kAdmin})
        tokens[role] = AddToken(RoleName(role), role);
    const auto least = [&](const std::string& method, const std::string& target) {
        for (const auto& [role, token] : tokens) {
            if (Status(method, target, {{"Authorization", "Bearer " + token}}) == 0)
                return RoleName(role);
        }
        return std::string("nobody");
    };
    for (const char* path : {"/live/cam/0.ts", "/play/cam/0.mp4?from=1", "/download/cam/0.mp4",
                             "/stream", "/api/devices", "/api/records?device=cam", "/metrics"})
        EXPECT_EQ(least("GET", path), "viewer") << path;
    EXPECT_EQ(least("POST", "/whep/cam/0"), "viewer");
    EXPECT_EQ(least("POST", "/api/ptz"), "operator");
    EXPECT_EQ(least("DELETE", "/api/presets/1"), "operator");
    EXPECT_EQ(least("POST", "/api/sign"), "operator");
    for (const char* path : {"/api/commands", "/api/devices", "/api/users", "/api/tokens",
                             "/live/cam/0.ts", "/api%2fdevices", "/stream%2fx", "/new"})
        EXPECT_EQ(least("POST", path), "admin") << path;
    EXPECT_EQ(least("GET", "/live%2fcam"), "admin") << "an encoded slash is none";
    EXPECT_EQ(NeededRoleOfCommand(TV_STREAM_PLAYBACK_SEEK), Role::kViewer);
    EXPECT_EQ(NeededRoleOfCommand(TV_STREAM_TALK_START), Role::kOperator);
    EXPECT_EQ(NeededRoleOfCommand(TV_CMD_DEVICES_ENQUEUE), Role::kAdmin);
}

TEST_F(DoorsTest, TokensTravelInAHeaderOrTheQuery) {
    HostConfig config;
    config.http.token = "s3cret+";
    Open(config);
    EXPECT_EQ(Status("GET", "/api/devices"), 401);
    EXPECT_EQ(Status("GET", "/api/devices?token="), 401);
    EXPECT_EQ(Status("GET", "/api/devices?token=s3cret%2B"), 0);
    for (const char* wrong : {"Bearer s3cret", "Basic s3cret+", "Bearer", "s3cret+"})
        EXPECT_EQ(Status("GET", "/api/devices", {{"Authorization", wrong}}), 401) << wrong;
    const std::pair<std::string, std::string> good{"Authorization", "bEARER  s3cret+"};
    EXPECT_EQ(Status("POST", "/api/commands", {good}), 0);
    EXPECT_EQ(Status("GET", "/api/devices", {good, {"Origin", "http://localHost"}}), 0);
    for (const char* foreign : {"http://elsewhere", "http://localhost.elsewhere", "null"})
        EXPECT_EQ(Status("GET", "/api/devices", {good, {"Origin", foreign}}), 403) << foreign;
}

TEST_F(DoorsTest, CookiesOfOtherSitesRequestsChangeNothing) {
    Open();
    AddUser("anna", Role::kAdmin);
    const std::string session = "vms_session=" + BeginSession("anna");
    const std::pair<std::string, std::string> cookie{"Cookie", "other=1; " + session + "; more"};
    EXPECT_EQ(Status("GET", "/api/users", {cookie}), 0);
    EXPECT_EQ(Status("POST", "/api/users", {cookie}), 403);
    EXPECT_EQ(Status("POST", "/api/users", {cookie, {"Origin", "http://localhost"}}), 0);
    EXPECT_EQ(Status("POST", "/api/users", {cookie, {"Sec-Fetch-Site", "same-origin"}}), 0);
    EXPECT_EQ(Status("POST", "/api/users", {cookie, {"Sec-Fetch-Site", "same-site"}}), 403);
    EXPECT_EQ(Status("GET", "/api/users", {{"Cookie", "vms_session=x"}}), 401);
    EXPECT_EQ(Status("GET", "/api/users", {{"Cookie", "x" + session}}), 401);
}

TEST_F(DoorsTest, SignedAddressesShowOneStreamUntilTheyExpire) {
    Open();
    AddUser("anna", Role::kAdmin);
    const std::string address =
        doors_->Signer().Sign("/live/cam%201%2f/0.mp4?stream=1", now_ + 60).value_or("");
    EXPECT_EQ(doors_->Admit(Request("GET", address)).identity.role, Role::kViewer);
    EXPECT_EQ(Status("POST", address), 401);
    // However a player writes it.
    std::string other = address;
    other.replace(other.find("%201%2f"), 7, "%20%31%2F");
    other.replace(other.find("stream=1"), 8, "stream=%31");
    EXPECT_EQ(Status("GET", other), 0);
    const size_t query = address.find('?');
    for (const std::string& wrong :
         {"/live/cam%202%2f/0.mp4" + address.substr(query), address + "&stream=0&x=1",
          address.substr(0, query) + "?stream=0" + address.substr(query + 9),
          address.substr(0, address.size() - 1), "/live/cam%201/%2f/0.mp4" + address.substr(query),
          "/api/users" + address.substr(query)})
        EXPECT_NE(Status("GET", wrong), 0) << wrong;
    EXPECT_EQ(Enter("rtsp://host:8554" + address).status, 0);
    EXPECT_EQ(Enter("rtsp://host:8554" + address + "/streamid=0").status, 0);
    now_ += 60;
    EXPECT_THAT(doors_->Admit(Request("GET", address)).text, HasSubstr("expired"));
    for (const char* unfit : {"/api/users", "live/a", "http://host/live/a/0.ts",
                              "/live/a?expires=1", "/live/a?signature=x", "/live/../x", "/%00"})
        EXPECT_FALSE(doors_->Signer().Sign(unfit, now_)) << unfit;
}

TEST_F(DoorsTest, PlayersOfRtspLogInByDigest) {
    Open();
    AddUser("anna", Role::kViewer, "pass:word");
    const std::string token = AddToken("robot", Role::kViewer);
    const std::string uri = "rtsp://host:8554/live/cam/0?stream=1";
    const Doors::Entrance asked = Enter(uri);
    EXPECT_EQ(asked.status, 401);
    ASSERT_EQ(asked.challenges.size(), 2U);
    for (const std::string& challenge : asked.challenges) {
        const auto anna = Enter(uri, AnswerTo(challenge, "anna", "pass:word", uri));
        EXPECT_EQ(anna.status, 0);
        EXPECT_EQ(anna.identity.name, "anna");
        EXPECT_EQ(Enter(uri, AnswerTo(challenge, "token", token, uri)).identity.name, "robot");
        // For the whole, of which a part is asked; but nothing else.
        const std::string whole = AnswerTo(challenge, "anna", "pass:word", uri);
        EXPECT_EQ(Enter(uri + "/streamid=0", whole).status, 0);
    }
    EXPECT_EQ(Enter(uri, "Bearer " + token).status, 0);
    EXPECT_EQ(Enter("rtsp://host/api/users", "Bearer " + token).status, 403);
    const auto elsewhere = AnswerTo(asked.challenges[1], "anna", "pass:word", "/live/cam/1");
    EXPECT_EQ(Enter(uri, elsewhere).status, 401);
    const auto often = Enter(uri, AnswerTo(asked.challenges[1], "anna", "pass:word", uri));
    EXPECT_EQ(often.status, 429) << "after a wrong one";
    EXPECT_GT(often.retryAfter.count(), 0);
}

}  // namespace
}  // namespace vms::host
