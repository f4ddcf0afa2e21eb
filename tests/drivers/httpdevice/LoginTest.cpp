#include "drivers/httpdevice/FamilySettings.h"
#include "tests/drivers/httpdevice/FamilyFixture.h"

namespace vms::httpdevice {
namespace {

class LoginTest : public FamilyFixture {};

TEST_F(LoginTest, BothFamiliesWithAndWithoutTls) {
    for (const char* const family : {"sha256-1", "quorix"}) {
        const HttpDevsim sim({"--login", family, "--https", "--iterations", "3"});
        for (const bool https : {false, true}) {
            SCOPED_TRACE(std::string(family) + (https ? " https" : " http"));
            const auto device = Make(sim.Device(0, https));
            EXPECT_FALSE(device->GetDevSessionId().empty()) << "logs in without being asked";
            EXPECT_TRUE(Works(*device));
            EXPECT_GE(device->PtzGetSpeed(0), 0) << "an endpoint whose URL knows http only";
        }
        EXPECT_TRUE(Eventually([&] { return sim.State(0)["sessions"] == 0; })) << "logs out";
    }
}

TEST_F(LoginTest, TakesEitherNameOfTheSession) {
    const HttpDevsim sim(
        {"--count", "2", "--fault", "0:cookieOnly", "--fault", "1:apiSessionOnly"});
    EXPECT_TRUE(Works(*Make(sim.Device(0))));
    EXPECT_TRUE(Works(*Make(sim.Device(1))));
}

TEST_F(LoginTest, OddNamesAndPasswords) {
    const HttpDevsim sim({"--user", "a\"b\\ä", "--password", std::string(60, '"')});
    EXPECT_TRUE(Works(*Make(sim.Device(0))));
}

TEST_F(LoginTest, LogsInAgainWhenTheSessionHasGone) {
    const HttpDevsim sim({});
    const auto device = Make(sim.Device(0));
    ASSERT_TRUE(Works(*device));
    const std::string first = device->GetDevSessionId();
    sim.Expire(0);
    EXPECT_TRUE(Works(*device));
    EXPECT_NE(device->GetDevSessionId(), first);
}

TEST_F(LoginTest, HeartbeatKeepsTheSessionAndNoticesItsEnd) {
    Init("heartbeatMs=200");
    const HttpDevsim sim({"--session-seconds", "1"});
    const auto device = Make(sim.Device(0));
    const std::string first = device->GetDevSessionId();
    ASSERT_FALSE(first.empty());
    const auto beats = [&] { return sim.State(0)["stats"]["counts"]["session/heart-beat"]; };
    EXPECT_TRUE(Eventually([&] { return beats().asInt() > 10; }));  // two lives of a session
    EXPECT_EQ(device->GetDevSessionId(), first);
    sim.Expire(0);
    EXPECT_TRUE(Eventually([&] {
        const std::string now = device->GetDevSessionId();
        return !now.empty() && now != first;
    }));
}

TEST_F(LoginTest, RefusesWhatItMustNotDo) {
    const HttpDevsim sim(
        {"--count", "3", "--fault", "0:iterations=1000001", "--fault", "1:loginRefused"});
    EXPECT_FALSE(Works(*Make(sim.Device(0)))) << "would hash for minutes";
    EXPECT_EQ(sim.State(0)["stats"]["counts"]["session/login"].asInt(), 0);
    const auto refused = Make(sim.Device(1));
    EXPECT_EQ(refused->GetDevSessionId(), "");
    for (int i = 0; i < 20; ++i)
        EXPECT_FALSE(Works(*refused));
    EXPECT_LE(sim.State(1)["stats"]["counts"]["session/login"].asInt(), 3)
        << "devices lock accounts";
    __tagTvVideoParam wrong = sim.Device(2);
    wrong.password = "wrong";
    EXPECT_FALSE(Works(*Make(wrong)));
}

TEST_F(LoginTest, TestsDevicesThatAreNotConfigured) {
    const HttpDevsim sim({"--nvr", "1", "--channels", "5", "--name", "Hall"});
    __tagTvVideoParam device = sim.Device(0);
    __tagTvSearchDeviceParam info;
    ASSERT_TRUE(factory_.DeviceTest(&device, &info));
    EXPECT_EQ(info.name, "Hall");
    EXPECT_EQ(info.channelnum, 5);
    EXPECT_EQ(info.devtype, 2);
    EXPECT_EQ(info.ver, "6.2.0.18");
    EXPECT_FALSE(info.sn.empty());
    EXPECT_TRUE(Eventually([&] { return sim.State(0)["sessions"] == 0; }));
    device.password += "x";
    EXPECT_FALSE(factory_.DeviceTest(&device, &info));
    device.ip.clear();
    EXPECT_FALSE(factory_.DeviceTest(&device, &info));
    EXPECT_EQ(Make(device), nullptr);
}

TEST(SettingsTest, ReadsPairsAndMovesThemIntoTheirRange) {
    const FamilySettings settings = ParseSettings(
        "connectTimeoutMs=1; requestTimeoutMs=900000 verifyCertificates=1;trustedCertificates=/a/b "
        "heartbeatMs=x nonsense =;maxAnswerBytes=5000");
    EXPECT_EQ(settings.connectTimeout, std::chrono::milliseconds(100));
    EXPECT_EQ(settings.requestTimeout, std::chrono::milliseconds(120'000));
    EXPECT_EQ(settings.heartbeat, FamilySettings{}.heartbeat);
    EXPECT_EQ(settings.trustedCertificates, "/a/b");
    EXPECT_EQ(settings.maxAnswerBytes, 5000U);
    EXPECT_TRUE(settings.verifyCertificates);
}

}  // namespace
}  // namespace vms::httpdevice
