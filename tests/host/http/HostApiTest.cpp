// What the HTTP API says of commands, devices, players and counts.
#include "host/api/HostApi.h"
#include "host/http/HttpRouter.h"

#include <gmock/gmock-matchers.h>

#include <atomic>
#include <regex>
#include <sstream>
#include <thread>

#include "platform/CreateCommandBusInstance.h"
#include "platform/Json.h"
#include "tests/host/stream/StreamServerFixture.h"
#include "tests/support/TestHttp.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using vms::HttpReply;
using vms::HttpRequest;
using vms::test::Fetch;
using vms::test::Gate;
using vms::test::TestHttp;
using vms::test::TestResponse;

Json::Value Parse(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(vms::ParseJson(text.c_str(), value)) << text;
    return value;
}

void Answer(const __tagTvCommand& request, int result, const std::string& body) {
    __tagTvCommand* response =
        SysCommandHelper::CreateResponseCommand(&request, result, body.c_str());
    CreateCommandBusInstance()->SendResponse(response);
    SysCommandHelper::ReleaseCommand(response);
}

/// Commands of a module "m" that lives on the bus alone.
class HostApiTest : public vms::test::StreamServerFixture {
protected:
    HostApiTest() {
        vms::HostConfig config;
        config.modules.resize(1);
        config.modules[0].name = "m";
        config.modules[0].devices[0]["id"] = "cam-1";
        config.modules[0].devices[0]["password"] = "word-77";
        devices_ = std::make_unique<vms::DeviceLists>("/nowhere", "", config, bus_, log_);
        Handle(TV_CMD_GET_CAPABILITY, [this](__tagTvCommand* request) {
            ++handled_;
            if (request->body == "throw")
                throw std::runtime_error("as told");
            if (request->body != "silent")
                Answer(*request, request->body == "refuse" ? -1 : 1,
                       request->deviceId + ":" + request->body);
        });
        Handle(TV_CMD_SEARCH_DEVICE, [this](__tagTvCommand* request) {
            Answer(*request, 1, R"({"pagetype": 0})");
            Answer(*request, 1, R"({"pagetype": 1})");
            if (gate_.Wait() && request->body != "endless")
                Answer(*request, 1, R"({"pagetype": 2})");
        });
    }
    ~HostApiTest() override {
        server_.reset();
        bus_.Bus().UnregisterModule("m");
    }

    void Handle(__enumTvCommand id, ICommandBus::Handler handler) {
        ASSERT_TRUE(bus_.Bus().RegisterCommand("m", id, std::move(handler)));
    }

    void StartApi() {
        vms::HttpConfig config = Anywhere();
        server_ = std::make_unique<vms::StreamServer>(config, log_);
        api_ = std::make_unique<vms::HostApi>(bus_, *devices_, board_, *server_);
        server_->Start({&module_}, [this](const HttpRequest& request, HttpReply& reply) {
            api_->Serve(request, reply);
        });
    }

    void StartCommands() {
        Start({}, {}, [this](const HttpRequest& request, HttpReply& reply) {
            commands_.Serve(request, reply);
        });
    }

    TestResponse Command(const std::string& text) { return Fetch(Port(), "POST", "/", text); }

    vms::BusClient bus_;
    Gate gate_;
    std::atomic<int> handled_{0};
    vms::StatusBoard board_{bus_.Bus()};
    std::unique_ptr<vms::DeviceLists> devices_;
    std::unique_ptr<vms::HostApi> api_;
    vms::CommandApi commands_{bus_, 300ms};
};

TEST_F(HostApiTest, CommandsAreAnsweredByTheirModule) {
    StartCommands();
    const auto answer = [this](const std::string& text) {
        const TestResponse response = Command(text);
        EXPECT_EQ(response.status, 200) << response.body;
        return Parse(response.body);
    };
    Json::Value good = answer(
        R"({"module": "m", "id": "0x10010a", "deviceId": "cam", "body": {"b": [1, "\u00e4"]}})");
    EXPECT_EQ(good["result"], 1);
    EXPECT_EQ(Parse(good["body"].asString().substr(4))["b"][1], "\xc3\xa4");
    EXPECT_EQ(answer(R"({"module": "m", "id": 1048842, "body": "plain"})")["body"], ":plain");
    EXPECT_EQ(answer(R"({"module": "m", "id": 1048842, "body": "refuse"})")["result"], -1);
    EXPECT_EQ(answer(R"({"module": "m", "id": 1048842})")["body"], ":");
}

TEST_F(HostApiTest, CommandsThatFailHaveAStatusEach) {
    StartCommands();
    const std::map<std::string, int> statuses{
        {"", 400},
        {"[]", 400},
        {std::string(5000, '['), 400},
        {R"({"module": "m"})", 400},
        {R"({"module": "m", "id": "0x10010g"})", 400},
        {R"({"module": "m", "id": -1})", 400},
        {R"({"module": "m", "id": 1e300})", 400},
        {R"({"id": 1048842})", 400},
        {R"({"module": "", "id": 1048842})", 400},
        {R"({"module": "other", "id": 1048842})", 404},
        {R"({"module": "m", "id": 1048833})", 404},
        {R"({"module": "m", "id": 1048842, "body": "throw"})", 502},
        {R"({"module": "m", "id": 1048842, "body": "silent"})", 504}};
    for (const auto& [text, status] : statuses) {
        const TestResponse response = Command(text);
        EXPECT_EQ(response.status, status) << text.substr(0, 60);
        EXPECT_TRUE(Parse(response.body)["error"].isString());
    }
}

TEST_F(HostApiTest, PagesOfASearchComeAsTheyAreFound) {
    StartCommands();
    TestHttp client(Port());
    TestResponse response;
    std::string line;
    client.Send("POST", "/", R"({"module": "m", "id": "0x10010c"})");
    ASSERT_TRUE(client.ReadHead(response));
    EXPECT_EQ(response.headers["content-type"], "application/x-ndjson");
    for (int type = 0; type < 3; ++type) {
        ASSERT_TRUE(client.ReadChunk(line));
        EXPECT_EQ(Parse(Parse(line)["body"].asString())["pagetype"], type);
        if (type == 1)
            gate_.Open();  // up to here the search goes on
    }
    ASSERT_TRUE(client.ReadChunk(line));
    EXPECT_EQ(line, "");

    const TestResponse endless = Command(R"({"module": "m", "id": "0x10010c", "body": "endless"})");
    EXPECT_THAT(endless.body, HasSubstr("\n{\"error\":\"the module has not answered\"}"));
}

TEST_F(HostApiTest, AnInterruptEndsEveryWait) {
    StartApi();
    TestHttp client(Port());
    client.Send("POST", "/api/commands", R"({"module": "m", "id": 1048842, "body": "silent"})");
    std::thread asker([this] {
        EXPECT_EQ(bus_.Ask({"m", TV_CMD_GET_CAPABILITY, "", "silent"}).kind,
                  vms::Answer::Kind::silent);
    });
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (handled_ < 2 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(1ms);
    bus_.Interrupt();
    EXPECT_EQ(client.Read().status, 504);
    asker.join();
}

TEST_F(HostApiTest, DevicesPlayersStatusAndHealth) {
    StartApi();
    const TestResponse devices = Fetch(Port(), "GET", "/api/devices");
    EXPECT_THAT(devices.body, Not(HasSubstr("word")));
    EXPECT_EQ(Parse(devices.body)["devices"][0]["module"], "m");

    std::unique_ptr<vms::test::TestPlayer> player;
    const long long id = Connect(player);
    EXPECT_TRUE(SendData(id, std::string(100, 'x')));
    const Json::Value stream = Parse(Fetch(Port(), "GET", "/api/streams").body)["streams"][0];
    EXPECT_EQ(stream["id"], static_cast<Json::Int64>(id));
    EXPECT_EQ(stream["key"], "key");
    EXPECT_EQ(stream["sentUnits"], 1);

    __tagTvCommand report{"m", "", "", "", TV_CMD_DEVICE_STATUS, R"({"devs": [{"id": "cam-1"}]})"};
    Json::Value status;
    for (const char* body : {"no JSON", R"({"devs": 5})", R"({"devs": [{"id": "cam-1"}]})"}) {
        report.body = body;
        EXPECT_TRUE(bus_.Bus().SendRequest(&report));
    }
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (status["modules"].empty() && std::chrono::steady_clock::now() < deadline)
        status = Parse(Fetch(Port(), "GET", "/api/status").body);
    EXPECT_EQ(status["modules"][0]["devs"][0]["id"], "cam-1");

    EXPECT_EQ(Parse(Fetch(Port(), "GET", "/healthz").body)["status"], "ok");
    EXPECT_EQ(Fetch(Port(), "GET", "/nothing").status, 404);
    TestResponse wrong = Fetch(Port(), "GET", "/api/commands");
    EXPECT_EQ(wrong.status, 405);
    EXPECT_EQ(wrong.headers["allow"], "POST");
}

TEST(HttpRouter, APathHasSeveralMethods) {
    struct Kept final : vms::HttpReply {
        void Send(const vms::HttpResponse& sent) override { response = sent; }
        void Begin(int, const std::string&) override {}
        bool WriteLine(const std::string&) override { return false; }
        void End() override {}
        vms::HttpResponse response;
    } reply;
    vms::HttpRouter router;
    for (const char* method : {"GET", "POST", "DELETE"})
        router.Add(method, "/thing", [method](const vms::HttpRequest&, vms::HttpReply& to) {
            to.Send({200, "text/plain", method, {}});
        });
    router.Add("GET", "/other", [](const vms::HttpRequest&, vms::HttpReply&) {});
    vms::HttpRequest request;
    request.path = "/thing";
    for (const char* method : {"GET", "POST", "DELETE"}) {
        request.method = method;
        router.Serve(request, reply);
        EXPECT_EQ(reply.response.body, method);
    }
    request.method = "PUT";
    router.Serve(request, reply);
    EXPECT_EQ(reply.response.status, 405);
    EXPECT_EQ(reply.response.headers["Allow"], "DELETE, GET, POST");
}

TEST_F(HostApiTest, MetricsAreInTheTextFormat) {
    StartApi();
    std::unique_ptr<vms::test::TestPlayer> player;
    EXPECT_TRUE(SendData(Connect(player), std::string(100, 'x')));
    std::istringstream text(Fetch(Port(), "GET", "/metrics").body);
    const std::regex type("# TYPE ([a-z_]+) (counter|gauge)");
    const std::regex sample("([a-z_]+) ([0-9]+)");
    std::map<std::string, unsigned long long> values;
    std::string line;
    for (std::smatch match; std::getline(text, line);) {
        std::string typed = line;
        ASSERT_EQ(typed.rfind("# HELP ", 0), 0U) << line;
        ASSERT_TRUE(std::getline(text, typed) && std::regex_match(typed, match, type)) << typed;
        const std::string name = match[1];
        EXPECT_EQ(match[2] == "counter",
                  name.size() > 6 && name.substr(name.size() - 6) == "_total")
            << name;
        ASSERT_TRUE(std::getline(text, line) && std::regex_match(line, match, sample)) << line;
        EXPECT_EQ(match[1], name);
        EXPECT_TRUE(values.emplace(name, std::stoull(match[2])).second) << name << " twice";
    }
    EXPECT_EQ(values["vms_players"], 1U);
    EXPECT_EQ(values["vms_sent_units_total"], 1U);
    EXPECT_EQ(values["vms_player_requests_total"], 1U);
    EXPECT_GT(values["process_resident_memory_bytes"], 1U << 20);
    EXPECT_GT(values["process_open_fds"], 3U);
    EXPECT_LT(values["process_open_fds"], 1000U);
}

}  // namespace
