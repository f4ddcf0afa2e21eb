// What the HTTP API says of commands, devices, players and counts.
#include "host/api/HostApi.h"

#include <gmock/gmock-matchers.h>

#include <atomic>
#include <regex>
#include <sstream>
#include <thread>

#include "platform/CommandBusStats.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/Json.h"
#include "platform/SysCommandHelper.h"
#include "tests/host/http/HttpServerFixture.h"
#include "tests/support/Gate.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using test::Eventually;
using test::Fetch;
using test::TestHttp;
using test::TestResponse;
using test::TestSocket;
using testing::HasSubstr;
using testing::Not;
using vms::test::Gate;

Json::Value Parse(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(vms::ParseJson(text.c_str(), value)) << text;
    return value;
}

void Respond(const __tagTvCommand& request, int result, const std::string& body) {
    __tagTvCommand* response =
        SysCommandHelper::CreateResponseCommand(&request, result, body.c_str());
    CreateCommandBusInstance()->SendResponse(response);
    SysCommandHelper::ReleaseCommand(response);
}

PlayerInfo OnePlayer() {
    PlayerInfo player;
    player.id = 7;
    player.key = "key";
    player.counts.sentUnits = 1;
    return player;
}

/// Commands of a module "m" that lives on the bus alone.
class HostApiTest : public test::HttpServerFixture {
protected:
    HostApiTest() {
        HostConfig config;
        config.modules.resize(1);
        config.modules[0].name = "m";
        config.modules[0].devices[0]["id"] = "cam-1";
        config.modules[0].devices[0]["password"] = "word-77";
        devices_ = std::make_unique<DeviceLists>("/nowhere", "", config, bus_, log_);
        Handle(TV_CMD_GET_CAPABILITY, [this](__tagTvCommand* request) {
            ++handled_;
            if (request->body == "throw")
                throw std::runtime_error("as told");
            if (request->body == "wait" && !gate_.Wait())
                return;
            if (request->body != "silent")
                Respond(*request, request->body == "refuse" ? -1 : 1,
                        request->deviceId + ":" + request->body);
        });
        Handle(TV_CMD_SEARCH_DEVICE, [this](__tagTvCommand* request) {
            Respond(*request, 1, R"({"pagetype": 0})");
            Respond(*request, 1, R"({"pagetype": 1})");
            if (gate_.Wait() && request->body != "endless")
                Respond(*request, 1, R"({"pagetype": 2})");
        });
    }
    ~HostApiTest() override {
        gate_.Open();
        Stop();
        bus_.Bus().UnregisterModule("m");
    }

    void Handle(__enumTvCommand id, ICommandBus::Handler handler) {
        ASSERT_TRUE(bus_.Bus().RegisterCommand("m", id, std::move(handler)));
    }

    void StartApi() {
        StreamSummary summary;
        summary.connected = 1;
        summary.sentUnits = 1;
        summary.requests = 1;
        api_ = std::make_unique<HostApi>(
            bus_, *devices_, board_,
            PlayerFigures{[] { return std::vector{OnePlayer()}; }, [summary] { return summary; }});
        api_->AddTo(router_);
        Start();
    }

    void StartCommands(BusClient::Duration patience = 300ms,
                       const DeviceShares::Limits& limits = {}) {
        commands_ = std::make_unique<CommandApi>(bus_, patience, limits);
        router_.Add("POST", "/", [this](const HttpRequest& request, const auto& reply) {
            commands_->Serve(request, reply);
        });
        Start();
    }

    TestResponse Command(const std::string& text) { return Fetch(Port(), "POST", "/", text); }

    /// Clients that wait for an answer of a device.
    std::vector<std::unique_ptr<TestHttp>> Waiting(size_t count, const std::string& device) {
        const uint64_t posted = GetCommandBusStats().posted;
        std::vector<std::unique_ptr<TestHttp>> clients;
        for (size_t i = 0; i < count; ++i) {
            clients.push_back(std::make_unique<TestHttp>(Port()));
            clients.back()->Send("POST", "/",
                                 R"({"module": "m", "id": 1048842, "body": "wait",)"
                                 R"( "deviceId": ")" +
                                     device + "\"}");
        }
        EXPECT_TRUE(Eventually([&] { return GetCommandBusStats().posted == posted + count; }));
        return clients;
    }

    BusClient bus_;
    Gate gate_;
    std::atomic<int> handled_{0};
    StatusBoard board_{bus_.Bus()};
    std::unique_ptr<DeviceLists> devices_;
    std::unique_ptr<HostApi> api_;
    std::unique_ptr<CommandApi> commands_;
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
        EXPECT_EQ(bus_.Ask({"m", TV_CMD_GET_CAPABILITY, "", "silent"}).kind, Answer::Kind::kSilent);
    });
    EXPECT_TRUE(Eventually([this] { return handled_ == 2; }));
    bus_.Interrupt();
    EXPECT_EQ(client.Read().status, 504);
    asker.join();
}

TEST_F(HostApiTest, DevicesPlayersStatusAndHealth) {
    StartApi();
    const TestResponse devices = Fetch(Port(), "GET", "/api/devices");
    EXPECT_THAT(devices.body, Not(HasSubstr("word-77")));
    EXPECT_EQ(Parse(devices.body)["devices"][0]["module"], "m");

    const Json::Value stream = Parse(Fetch(Port(), "GET", "/api/streams").body)["streams"][0];
    EXPECT_EQ(stream["id"], 7);
    EXPECT_EQ(stream["key"], "key");
    EXPECT_EQ(stream["sentUnits"], 1);

    __tagTvCommand report{"m", "", "", "", TV_CMD_DEVICE_STATUS, R"({"devs": [{"id": "cam-1"}]})"};
    Json::Value status;
    for (const char* body : {"no JSON", R"({"devs": 5})", R"({"devs": [{"id": "cam-1"}]})"}) {
        report.body = body;
        EXPECT_TRUE(bus_.Bus().SendRequest(&report));
    }
    EXPECT_TRUE(Eventually([&] {
        status = Parse(Fetch(Port(), "GET", "/api/status").body);
        return !status["modules"].empty();
    }));
    EXPECT_EQ(status["modules"][0]["devs"][0]["id"], "cam-1");

    EXPECT_EQ(Parse(Fetch(Port(), "GET", "/healthz").body)["status"], "ok");
    EXPECT_EQ(Fetch(Port(), "GET", "/nothing").status, 404);
    TestResponse wrong = Fetch(Port(), "GET", "/api/commands");
    EXPECT_EQ(wrong.status, 405);
    EXPECT_EQ(wrong.headers["allow"], "POST");
}

TEST_F(HostApiTest, MetricsAreInTheTextFormat) {
    StartApi();
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

TEST_F(HostApiTest, ASilentDeviceUsesUpItsOwnShareOnly) {
    settings_.linger = 50ms;
    StartCommands(20s);
    auto waiting = Waiting(16, "mute");
    EXPECT_EQ(Command(R"({"module": "m", "id": 1048842, "deviceId": "mute"})").status, 503);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(Command(R"({"module": "m", "id": 1048842, "deviceId": "well"})").status, 200);
    EXPECT_EQ(Command(R"({"module": "m", "id": 1048842})").status, 200);

    // Whoever leaves does not make room: the module still has the request.
    waiting.resize(8);
    ASSERT_TRUE(Eventually([this] { return server_->Connections() == 8; }));
    EXPECT_EQ(Command(R"({"module": "m", "id": 1048842, "deviceId": "mute"})").status, 503);
    gate_.Open();
    for (const auto& client : waiting)
        EXPECT_EQ(client->Read().status, 200);
    EXPECT_TRUE(Eventually([this] {
        return Command(R"({"module": "m", "id": 1048842, "deviceId": "mute"})").status == 200;
    }));
}

TEST_F(HostApiTest, WaitingRequestsHaveABoundInAllAndInBytes) {
    StartCommands(20s, {.requests = 3, .requestsOfDevice = 2, .bytesOfDevice = 1000});
    const std::string longBody =
        R"({"module": "m", "id": 1048842, "deviceId": "b", "body": ")" + std::string(1000, 'x');
    EXPECT_EQ(Command(longBody + "\"}").status, 503);
    const auto first = Waiting(2, "a");
    const auto second = Waiting(1, "b");
    EXPECT_EQ(Command(R"({"module": "m", "id": 1048842, "deviceId": "c"})").status, 503);
    gate_.Open();
    EXPECT_EQ(second.front()->Read().status, 200);
    EXPECT_TRUE(Eventually([this] {
        return Command(R"({"module": "m", "id": 1048842, "deviceId": "c"})").status == 200;
    }));
}

TEST_F(HostApiTest, BodiesOfManyValuesAreRefusedBeforeTheyAreRead) {
    const auto command = [](const std::string& body) {
        return R"({"module": "m", "id": 1048842, "deviceId": "d", "body": )" + body + "}";
    };
    const auto list = [](int length) {
        std::string text = "[0";
        for (int i = 1; i < length; ++i)
            text += ",0";
        return text + "]";
    };
    StartCommands(20s, {.values = 20'000});
    EXPECT_THAT(Command(command(list(100'000))).body, HasSubstr("more than 100,000 values"));
    std::string hidden = "\"[0";
    for (int i = 0; i < 100'000; ++i)
        hidden += "\\u002c0";
    EXPECT_THAT(Command(command(hidden + "]\"")).body, HasSubstr("more than 100,000 values"));
    EXPECT_EQ(Command(command(list(30'000))).status, 503);
    EXPECT_EQ(handled_, 0);
    const auto waiting = Waiting(1, "d");
    EXPECT_EQ(Command(command(list(30'000))).status, 503);
    gate_.Open();
    EXPECT_EQ(Command(command(list(19'000))).status, 200);
    EXPECT_EQ(Command(command(list(19'000))).status, 200) << "the first has been given back";
}

TEST_F(HostApiTest, RequestsThatWaitHoldNoThread) {
    StartApi();
    std::vector<std::unique_ptr<TestHttp>> clients;
    for (int device = 0; device < 10; ++device) {
        for (int i = 0; i < 10; ++i) {
            clients.push_back(std::make_unique<TestHttp>(Port()));
            clients.back()->Send(
                "POST", "/api/commands",
                R"({"module": "m", "id": 1048842, "body": "silent", "deviceId": ")" +
                    std::to_string(device) + "\"}");
        }
    }
    EXPECT_TRUE(Eventually([this] { return handled_ == 100; }));
    EXPECT_EQ(Fetch(Port(), "GET", "/api/devices").status, 200);
    EXPECT_EQ(Fetch(Port(), "GET", "/healthz").status, 200);
    bus_.Interrupt();
    for (const auto& client : clients)
        EXPECT_EQ(client->Read().status, 504);
    EXPECT_EQ(Fetch(Port(), "POST", "/api/commands", R"({"module": "m", "id": 1048842})").status,
              504);
}

}  // namespace
}  // namespace vms::host
