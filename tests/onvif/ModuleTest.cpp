// OnvifModule as a host sees it: through the bus, against simulated cameras.
#include <gtest/gtest.h>
#include <json/json.h>

#include "onvif/OnvifModule.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/Json.h"
#include "tests/support/BusProbe.h"
#include "tests/support/Devsim.h"

namespace {

using vms::test::Ask;
using vms::test::Devsim;
using vms::test::Outcome;
using vms::test::SimulatedCamera;

constexpr const char* kModule = "onvif-test";

Json::Value Describe(const SimulatedCamera& camera, const char* id) {
    Json::Value device(Json::objectValue);
    device["id"] = id;
    device["ip"] = camera.address;
    device["port"] = camera.port;
    device["username"] = camera.user;
    device["password"] = camera.password;
    return device;
}

Json::Value Parse(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(vms::ParseJson(text.c_str(), value)) << text;
    return value;
}

/// One module for all tests of the file: ending it takes the rest of its five-second sleep.
class OnvifModuleTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        devsim_ = new Devsim({"--count", "3", "--no-rtsp", "--no-discovery", "--fault", "1:refused",
                              "--fault", "2:rtsps"});
        module_ = new OnvifModule;
        ASSERT_TRUE(module_->Init(kModule, "not even JSON"));
    }
    static void TearDownTestSuite() {
        EXPECT_EQ(module_->UnInit(), 0);
        EXPECT_EQ(module_->UnInit(), 0);
        EXPECT_TRUE(CreateCommandBusInstance()->UnregisterModule(kModule));
        delete module_;
        delete devsim_;
    }

    static void ExpectAnswer(const Outcome& outcome, int result, const std::string& body) {
        ASSERT_EQ(outcome.answers.size(), 1U);
        EXPECT_EQ(outcome.answers[0].result, result);
        EXPECT_EQ(outcome.answers[0].body, body);
    }
    static Outcome Enqueue(const Json::Value& devices) {
        return Ask(kModule, TV_CMD_DEVICES_ENQUEUE, "", devices.toStyledString());
    }
    static Outcome Dequeue(const std::string& body) {
        return Ask(kModule, TV_CMD_DEVICES_DEQUEUE, "", body);
    }
    static Outcome Preview(const std::string& id, const std::string& body) {
        return Ask(kModule, TV_CMD_GET_PREVIEW_URL, id, body);
    }

    static Devsim* devsim_;
    static OnvifModule* module_;
};

Devsim* OnvifModuleTest::devsim_ = nullptr;
OnvifModule* OnvifModuleTest::module_ = nullptr;

TEST_F(OnvifModuleTest, RecordCommandsAreNotSupported) {
    ExpectAnswer(Ask(kModule, TV_CMD_SEARCH_RECORD, "x", "{}"), -1, "not support");
    ExpectAnswer(Ask(kModule, TV_CMD_GET_PLAYBACK_URL, "", "]["), -1, "not support");
    const Outcome unknown = Ask(kModule, TV_CMD_GET_RECORD_DOWNLOAD_URL, "", "");
    EXPECT_FALSE(unknown.handled);
}

TEST_F(OnvifModuleTest, DeviceListCommandsAlwaysSucceed) {
    for (const char* body : {"", "{", "[]", "{\"devs\": 5}", "[{\"id\": \"\"}]"}) {
        ExpectAnswer(Ask(kModule, TV_CMD_DEVICES_ENQUEUE, "", body), 1, "");
        ExpectAnswer(Dequeue(body), 1, "");
    }
    ExpectAnswer(Dequeue("{\"id\": \"never seen\"}"), 1, "");
}

TEST_F(OnvifModuleTest, PreviewUrlOfConfiguredDevices) {
    ExpectAnswer(Preview("cam", "{}"), -1, "get preview url error");

    // The later of two descriptions with one identifier holds: here the one that works.
    Json::Value list(Json::arrayValue);
    list.append(Describe(devsim_->Camera(1), "cam"));
    list.append(Describe(devsim_->Camera(0), "cam"));
    list.append(Describe(devsim_->Camera(1), "down"));
    list.append(Describe(devsim_->Camera(2), "secure"));
    ExpectAnswer(Enqueue(list), 1, "");

    const Outcome answer = Preview("cam", R"({"id": "cam", "channel": 0, "streamNo": 1})");
    ASSERT_EQ(answer.answers.size(), 1U);
    EXPECT_EQ(answer.answers[0].result, 1);
    const Json::Value stream = Parse(answer.answers[0].body);
    EXPECT_EQ(stream["ip"], "127.0.0.1");
    EXPECT_EQ(stream["port"], 0);
    EXPECT_EQ(stream["type"], 0);
    const std::string expected = devsim_->Camera(0).streams[1];
    EXPECT_EQ(stream["uri"].asString(), "rtsp://" + devsim_->Camera(0).user + ":" +
                                            devsim_->Camera(0).password + "@" + expected.substr(7));

    const Outcome secure = Preview("secure", R"({"channel": 3, "streamNo": 1})");
    ASSERT_EQ(secure.answers.size(), 1U);
    EXPECT_NE(Parse(secure.answers[0].body)["uri"].asString().find("@127.0.0.1:554/31"),
              std::string::npos);

    // A known device that gives no URI: the error leaves the handler and nothing is answered.
    const Outcome down = Preview("down", "{}");
    EXPECT_TRUE(down.threw);
    EXPECT_TRUE(down.answers.empty());

    ExpectAnswer(Dequeue(R"([{"id": "cam"}, {"id": "down"}, {"id": "secure"}])"), 1, "");
    ExpectAnswer(Preview("cam", "{}"), -1, "get preview url error");
}

TEST_F(OnvifModuleTest, DeviceTestAsksTheDeviceItDescribes) {
    const Json::Value device = Describe(devsim_->Camera(0), "not configured");
    Json::Value list(Json::arrayValue);
    list.append(device);
    list.append(Describe(devsim_->Camera(1), "ignored"));
    for (const Json::Value& body : {device, list}) {
        const Outcome found = Ask(kModule, TV_CMD_DEVICE_TEST, "", body.toStyledString());
        ASSERT_EQ(found.answers.size(), 1U);
        EXPECT_EQ(found.answers[0].result, 1);
        EXPECT_EQ(found.answers[0].body, "{\n\t\"channelnum\" : 1,\n\t\"devtype\" : 201\n}\n");
    }

    Json::Value textPort = device;
    textPort["port"] = std::to_string(devsim_->Camera(0).port);
    Json::Value wrongPassword = device;
    wrongPassword["password"] = "wrong";
    for (const std::string& body :
         {textPort.toStyledString(), wrongPassword.toStyledString(), std::string("[]"),
          std::string("5"), std::string("{"), std::string(200000, '['),
          Describe(devsim_->Camera(1), "").toStyledString()})
        ExpectAnswer(Ask(kModule, TV_CMD_DEVICE_TEST, "", body), -1, "");
}

TEST_F(OnvifModuleTest, StatusReportsNameEveryDeviceUpOrDown) {
    Json::Value list(Json::arrayValue);
    list.append(Describe(devsim_->Camera(0), "up"));
    list.append(Describe(devsim_->Camera(1), "down"));
    Enqueue(list);
    vms::test::NotificationProbe reports(TV_CMD_DEVICE_STATUS);

    __tagTvCommand report;
    Json::Value devices;
    // A pass that began before the devices were added may come first.
    for (int pass = 0; pass < 3 && devices.size() != 2; ++pass) {
        ASSERT_TRUE(reports.Next(report, std::chrono::seconds(20)));
        devices = Parse(report.body)["devs"];
    }
    EXPECT_EQ(report.source, kModule);
    ASSERT_EQ(devices.size(), 2U);
    for (const Json::Value& device : devices) {
        const int state = device["id"] == "up" ? 1 : 0;
        ASSERT_EQ(device["status"].size(), 2U);
        EXPECT_EQ(device["status"][0]["channel"], -1);
        EXPECT_EQ(device["status"][1]["channel"], 0);
        EXPECT_EQ(device["status"][0]["state"], state) << device;
        EXPECT_EQ(device["status"][1]["state"], state) << device;
    }

    Dequeue(list.toStyledString());
    for (int pass = 0; pass < 3 && !devices.empty(); ++pass) {
        ASSERT_TRUE(reports.Next(report, std::chrono::seconds(20)));
        devices = Parse(report.body)["devs"];
    }
    EXPECT_TRUE(devices.isArray() && devices.empty()) << "an empty table is reported too";
}

}  // namespace
