// Devices over the API: what comes in, what goes to the module, what is kept, what is told.
#include "host/api/DeviceApi.h"

#include <gmock/gmock-matchers.h>

#include <atomic>
#include <thread>

#include "tests/host/api/ApiFixture.h"
#include "tests/support/Gate.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using test::BusModule;
using test::Fetch;
using testing::HasSubstr;
using testing::Not;
using vms::test::Gate;

class DeviceApiTest : public test::ApiFixture {
protected:
    std::vector<AddedDevices::Device> Kept() { return store_.All(); }

    /// Answers for one command, 1 otherwise.
    void AnswerTo(__enumTvCommand id, BusModule::Reply reply) {
        module_.SetAnswer([id, reply](const BusModule::Asked& asked) {
            return asked.id == id ? reply : BusModule::Reply{};
        });
    }
};

TEST_F(DeviceApiTest, ADeviceIsAddedChangedAndRemoved) {
    StartApi();
    const Got added =
        Ask("POST", "/api/devices",
            R"({"id": "y/1", "ip": "10.0.0.9", "port": 80, "password": "word-9", "kind": "fake"})");
    EXPECT_EQ(added.status, 201) << added.Error();
    EXPECT_EQ(added.body["module"], "m");
    EXPECT_EQ(added.body["hasPassword"], true);
    ASSERT_EQ(Kept().size(), 1U);
    EXPECT_EQ(Kept()[0].description["password"], "word-9");

    const Got changed =
        Ask("PATCH", "/api/devices/y%2f1", R"({"name": "Yard", "port": null, "username": "u"})");
    EXPECT_EQ(changed.status, 200) << changed.Error();
    EXPECT_EQ(changed.body["name"], "Yard");
    EXPECT_FALSE(changed.body.isMember("port"));
    EXPECT_EQ(Kept()[0].description["password"], "word-9") << "what is not named stays";
    EXPECT_EQ(devices_->ModuleOf("y/1"), "m");

    EXPECT_EQ(Ask("PATCH", "/api/devices/y%2f1", R"({"name": "Yard"})").status, 200);
    EXPECT_EQ(Ask("DELETE", "/api/devices/y%2f1").status, 204);
    EXPECT_TRUE(Kept().empty());
    EXPECT_EQ(Ask("DELETE", "/api/devices/y%2f1").status, 404);
    EXPECT_EQ(module_.History(), "+y/1-y/1+y/1-y/1") << "a change of nothing tells nobody";

    std::string types;
    for (const LoggedEvent& event : events_.Find({}))
        types += event.type + " ";
    EXPECT_EQ(types, "device-removed device-changed device-changed device-added ");
}

TEST_F(DeviceApiTest, NoAnswerHoldsAPassword) {
    StartApi();
    Ask("POST", "/api/devices", R"({"id": "y", "password": "word-9"})");
    for (const char* target : {"/api/devices", "/api/devices/y", "/api/devices/cam",
                               "/api/events/log", "/api/status", "/healthz"}) {
        const auto answer = Fetch(Port(), "GET", target);
        EXPECT_EQ(answer.status, 200) << target;
        EXPECT_THAT(answer.body, Not(HasSubstr("word-"))) << target;
    }
    const Got refused = Ask("POST", "/api/devices", R"({"id": "z", "password": 5})");
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(refused.Error(), "the device: password: expected a string, found an integer");
}

TEST_F(DeviceApiTest, WhatTheConfigurationHasIsChangedThereOnly) {
    StartApi();
    EXPECT_EQ(Ask("PATCH", "/api/devices/cam", R"({"name": "x"})").status, 409);
    const Got refused = Ask("DELETE", "/api/devices/cam");
    EXPECT_EQ(refused.status, 409);
    EXPECT_THAT(refused.Error(), HasSubstr("configuration file"));
    EXPECT_EQ(Ask("POST", "/api/devices", R"({"id": "cam"})").status, 409);
    EXPECT_EQ(module_.History(), "");
}

TEST_F(DeviceApiTest, WhatTheModuleDoesNotTakeLeavesEverythingAsItWas) {
    deviceLimits_.patience = 100ms;
    StartApi();
    Ask("POST", "/api/devices", R"({"id": "y", "ip": "1"})");
    const BusModule::Reply no{.result = -1};
    const BusModule::Reply silence{.result = 0, .body = "", .isSilent = true};

    AnswerTo(TV_CMD_DEVICES_ENQUEUE, no);
    EXPECT_EQ(Ask("POST", "/api/devices", R"({"id": "z"})").status, 502);
    EXPECT_EQ(Ask("PATCH", "/api/devices/y", R"({"ip": "2"})").status, 502);
    AnswerTo(TV_CMD_DEVICES_ENQUEUE, silence);
    EXPECT_EQ(Ask("POST", "/api/devices", R"({"id": "z"})").status, 504);
    AnswerTo(TV_CMD_DEVICES_DEQUEUE, silence);
    EXPECT_EQ(Ask("DELETE", "/api/devices/y").status, 504);
    module_.SetAnswer({});
    EXPECT_EQ(Ask("GET", "/api/devices/z").status, 404);
    EXPECT_EQ(Ask("GET", "/api/devices/y").body["ip"], "1");
    ASSERT_EQ(Kept().size(), 1U);
    EXPECT_EQ(Kept()[0].description["ip"], "1");
    // Whatever the module made of it, it has been told to have y and not z.
    EXPECT_EQ(module_.History(),
              "+y"
              "+z-z"
              "-y+y-y+y"
              "+z-z"
              "-y+y");
}

TEST_F(DeviceApiTest, WhatCannotBeKeptIsUndone) {
    StartApi();
    Ask("POST", "/api/devices", R"({"id": "y", "ip": "1"})");
    database_.WriteNow([](SqlConnection& sql) {
        sql.RunScript(
            "CREATE TRIGGER no_more BEFORE INSERT ON devices "
            "BEGIN SELECT RAISE(ABORT, 'disk full'); END;"
            "CREATE TRIGGER no_less BEFORE DELETE ON devices "
            "BEGIN SELECT RAISE(ABORT, 'disk full'); END;");
    });
    const Got failed = Ask("POST", "/api/devices", R"({"id": "z"})");
    EXPECT_EQ(failed.status, 507);
    EXPECT_THAT(failed.Error(), HasSubstr("disk full"));
    EXPECT_EQ(Ask("PATCH", "/api/devices/y", R"({"ip": "2"})").status, 507);
    EXPECT_EQ(Ask("DELETE", "/api/devices/y").status, 507);
    EXPECT_EQ(Ask("GET", "/api/devices/y").body["ip"], "1");
    // The last undoing is under way when it is answered.
    EXPECT_TRUE(test::Eventually([&] {
        return module_.History() ==
               "+y"
               "+z-z"
               "-y+y-y+y"
               "-y+y";
    })) << module_.History();
}

TEST_F(DeviceApiTest, ASilentModuleHoldsUpNoOther) {
    BusModule other("other");
    Gate gate;
    config_.modules.resize(2);
    config_.modules[1].name = "other";
    module_.SetAnswer([&gate](const BusModule::Asked&) {
        return gate.Wait() ? BusModule::Reply{} : BusModule::Reply{.result = -1};
    });
    StartApi();
    std::atomic<int> slow{0};
    std::thread client(
        [&] { slow = Ask("POST", "/api/devices", R"({"id": "a", "module": "m"})").status; });
    EXPECT_TRUE(test::Eventually([&] { return module_.History() == "+a"; }));
    EXPECT_EQ(Ask("POST", "/api/devices", R"({"id": "b", "module": "other"})").status, 201);
    EXPECT_EQ(slow, 0);
    gate.Open();
    client.join();
    EXPECT_EQ(slow, 201);
}

TEST_F(DeviceApiTest, AsManyAsThereMayBe) {
    deviceLimits_.added = 3;
    StartApi();
    for (const char* id : {"a", "b", "c"})
        EXPECT_EQ(Ask("POST", "/api/devices", std::string(R"({"id": ")") + id + "\"}").status, 201);
    EXPECT_EQ(Ask("POST", "/api/devices", R"({"id": "d"})").status, 503);
    EXPECT_EQ(Ask("DELETE", "/api/devices/b").status, 204);
    EXPECT_EQ(Ask("POST", "/api/devices", R"({"id": "d"})").status, 201);
    const Got page = Ask("GET", "/api/devices?offset=1&limit=2");
    EXPECT_EQ(page.body["total"], 4);
    ASSERT_EQ(page.body["devices"].size(), 2U);
    EXPECT_EQ(page.body["devices"][0]["id"], "c");
}

TEST_F(DeviceApiTest, RequestsThatCannotBe) {
    config_.modules.resize(2);
    config_.modules[1].name = "other";
    StartApi();
    const std::string deep(2000, '[');
    std::string many = R"({"id": "x", "name": [0)";
    for (int i = 0; i < 100'000; ++i)
        many += ",0";
    const std::string bodies[] = {
        "",
        "[]",
        "5",
        deep,
        R"({"a":)" + deep,
        many + "]}",
        R"({"module": "m"})",
        R"({"id": "", "module": "m"})",
        R"({"id": "x", "module": "none"})",
        R"({"id": "x"})",
        R"({"id": "x", "kind": 7})",
        R"({"id": ["x"], "module": "m"})",
        R"({"id": "a\u0000b", "module": "m"})",
        R"({"id": "a\nb", "module": "m"})",
        "{\"id\": \"\xff\xfe\", \"module\": \"m\"}",
        R"({"id": "x", "port": 1e99, "module": "m"})",
        R"({"id": "x", "port": 80.5, "module": "m"})",
        R"({"id": "x", "port": "80", "module": "m"})",
        R"({"id": "x", "port": 70000, "module": "m"})",
        R"({"id": "x", "p2p": 1, "module": "m"})",
        R"({"id": "x", "colour": "red", "module": "m"})",
        R"({"id": ")" + std::string(129, 'i') + R"(", "module": "m"})",
        R"({"id": "x", "module": "m", "name": ")" + std::string(1025, 'n') + "\"}"};
    for (const std::string& body : bodies) {
        const Got refused = Ask("POST", "/api/devices", body);
        EXPECT_EQ(refused.status, 400) << body.substr(0, 80);
        EXPECT_FALSE(refused.Error().empty());
    }
    EXPECT_EQ(Ask("PATCH", "/api/devices/cam", R"({"id": "other"})").status, 400);
    EXPECT_EQ(Ask("PATCH", "/api/devices/nobody", R"({"name": "x"})").status, 404);
    EXPECT_EQ(Ask("POST", "/api/devices/cam").status, 405);
    EXPECT_EQ(Ask("PUT", "/api/devices/cam", "{}").status, 405);
    EXPECT_EQ(Ask("GET", "/api/devices/cam/secrets").status, 404);
    EXPECT_EQ(Ask("GET", "/api/devices/cam/time/zone").status, 404);
    EXPECT_EQ(Ask("GET", "/api/devices/").status, 404);
    EXPECT_EQ(Fetch(Port(), "GET", "/api/devices/%00").status, 400);
    // Markup is a text as any other, and no page.
    const std::string markup = R"(<script>alert("x")</script>)";
    const Got odd = Ask("POST", "/api/devices",
                        R"({"id": "<b>", "module": "m", "name": "<script>alert(\"x\")</script>"})");
    EXPECT_EQ(odd.status, 201);
    EXPECT_EQ(Ask("GET", "/api/devices/%3Cb%3E").body["name"], markup);
    EXPECT_EQ(Fetch(Port(), "GET", "/api/devices/%3Cb%3E").headers["content-type"],
              "application/json");
}

TEST_F(DeviceApiTest, TestsGoToTheModuleThatFits) {
    StartApi();
    module_.SetAnswer([](const BusModule::Asked& asked) -> BusModule::Reply {
        Json::Value target;
        ParseJson(asked.body.c_str(), target);
        if (target["password"] != "word-77")
            return {.result = -1};
        return {.result = 1, .body = R"({"channelnum": 4, "devtype": 2, "name": "N", "ver": "1"})"};
    });
    const Got known = Ask("POST", "/api/devices/test", R"({"device": "cam"})");
    EXPECT_EQ(known.status, 200) << known.Error();
    EXPECT_EQ(known.body["channels"], 4);
    EXPECT_EQ(known.body["version"], "1");
    const Got wrong = Ask("POST", "/api/devices/test", R"({"device": "cam", "password": "other"})");
    EXPECT_EQ(wrong.status, 502);
    EXPECT_THAT(wrong.Error(), HasSubstr("refused the login"));
    EXPECT_EQ(Ask("POST", "/api/devices/test", R"({"ip": "1", "port": -1})").status, 400);
    EXPECT_EQ(Ask("POST", "/api/devices/test", R"({"device": "none"})").status, 404);
    EXPECT_EQ(Ask("GET", "/api/devices/test").status, 404) << "a device may be called so";
}

TEST_F(DeviceApiTest, WhatADeviceTellsOfItself) {
    StartApi();
    module_.SetAnswer([](const BusModule::Asked& asked) -> BusModule::Reply {
        switch (asked.id) {
            case TV_CMD_GET_CAPABILITY:
                return {1, R"({"supportThirdStream": 1, "supportTiming": 0, "poeNum": -1})"};
            case TV_CMD_GET_DEVICE_TIME:
                return {1, R"({"time": 1772704800, "timezone": 60})"};
            case TV_CMD_TRANSMISSION:
                return {1, R"({"channels": [{"channel": 0, "name": "Gate"}, 7, {"name": "x"}]})"};
            case TV_CMD_DEV_TIMING:
                return {-1, ""};
            default:
                return {};
        }
    });
    const Got capability = Ask("GET", "/api/devices/cam/capability");
    EXPECT_EQ(capability.body["thirdStream"], true);
    EXPECT_TRUE(capability.body["poePorts"].isNull());
    EXPECT_EQ(Ask("GET", "/api/devices/cam/time").body["time"], "2026-03-05T10:00:00Z");
    EXPECT_EQ(Ask("PUT", "/api/devices/cam/time").status, 502);
    const Got channels = Ask("GET", "/api/devices/cam/channels");
    ASSERT_EQ(channels.body["channels"].size(), 1U);
    EXPECT_EQ(channels.body["channels"][0]["name"], "Gate");
    EXPECT_EQ(
        Ask("PUT", "/api/devices/cam/channels", R"({"channels": [{"channel": 1, "name": "Door"}]})")
            .status,
        204);
    EXPECT_EQ(module_.All().back().body,
              R"({"channels":[{"channel":1,"name":"Door"}],"id":"cam"})");
    EXPECT_EQ(Ask("PUT", "/api/devices/cam/channels", R"({"channels": []})").status, 400);
    EXPECT_EQ(Ask("GET", "/api/devices/cam/connection").status, 501) << "no such command";
    EXPECT_EQ(Ask("GET", "/api/devices/none/time").status, 404);
    EXPECT_EQ(Ask("DELETE", "/api/devices/cam/time").status, 405);

    module_.SetAnswer([](const BusModule::Asked&) -> BusModule::Reply { return {1, "[not JSON"}; });
    for (const char* what : {"capability", "time", "channels"})
        EXPECT_EQ(Ask("GET", std::string("/api/devices/cam/") + what).status, 502) << what;
}

}  // namespace
}  // namespace vms::host
