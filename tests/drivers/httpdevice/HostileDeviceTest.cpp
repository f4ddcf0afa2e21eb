// Devices that lie, fall silent or never come to an end.
#include "drivers/httpdevice/session/LoginPacer.h"
#include "drivers/httpdevice/sources/UnitBuffer.h"
#include "tests/drivers/httpdevice/FamilyFixture.h"
#include "videodevice/IFaceFrameServer.h"
#include "videodevice/IPlaybackStreamServer.h"
#include "videodevice/IPreviewStreamServer.h"
#include "videodevice/ISyncPlaybackServer.h"

namespace vms::httpdevice {
namespace {

constexpr int kBegin = kUntil - 4 * kHour;

class HostileDeviceTest : public FamilyFixture {
protected:
    static int Asked(const HttpDevsim& sim, const char* endpoint, size_t index = 0) {
        return sim.State(index)["stats"]["counts"][endpoint].asInt();
    }
    static int Logins(const HttpDevsim& sim) { return Asked(sim, "session/login"); }
};

TEST_F(HostileDeviceTest, ListsOfRecordingsAreBounded) {
    for (const bool recorder : {false, true}) {
        SCOPED_TRACE(recorder ? "NVR" : "IPC");
        const HttpDevsim sim({recorder ? "--nvr" : "--count", "1"});
        const auto device = Make(sim.Device(0));
        __tagTvSearchRecordParam query;
        std::list<__tagTvRecordFile> files;
        for (const char* const lie : {"manyItems@record-list=4001", "manyItems@record-list=300000",
                                      "manyItems@record-list=2000000"}) {
            sim.SetFault(0, lie);
            EXPECT_LT(device->SearchRecord(&query, &files), 0) << lie;
        }
        sim.SetFault(0, "manyItems@record-list=3999");
        EXPECT_EQ(device->SearchRecord(&query, &files), 0);
        EXPECT_EQ(files.size(), 3999U);
        files.clear();
        sim.ClearFaults(0);
        sim.SetFault(0, "endlessList");
        const int before = Asked(sim, "record/record-list");
        EXPECT_LT(device->SearchRecord(&query, &files), 0);
        EXPECT_LE(Asked(sim, "record/record-list") - before, 25) << "100,000 and no more";
        EXPECT_TRUE(files.empty());
    }
}

TEST_F(HostileDeviceTest, LongTextsEndTheLinkUnread) {
    const HttpDevsim sim({"--nvr", "1", "--recorded-until", std::to_string(kUntil)});
    const auto device = Make(sim.Device(0));
    ASSERT_TRUE(Works(*device));
    sim.SetFault(0, "hugeText=64");
    int speedOnlyI = 0;
    UnitRecorder sink;
    const std::unique_ptr<IPlaybackStreamServer> playback(
        factory_.CreatePlaybackServer(device.get(), &speedOnlyI, -1));
    ASSERT_NE(playback, nullptr);
    playback->StartPlayback("p", 0, kBegin, kBegin + kHour, 0, 0, 0, &sink, true);
    EXPECT_TRUE(sink.WaitMessage("3"));
    EXPECT_EQ(sink.Count(), 0U);
    const std::unique_ptr<ISyncPlaybackServer> session(
        factory_.CreateSyncPlaybackServer(device.get()));
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(session->Create("id", kBegin, kBegin + kHour, 0, 0, 0, 0, &sink), -1);
    sim.SetFault(0, "hugeText=60");
    EXPECT_EQ(session->Create("id", kBegin, kBegin + kHour, 0, 0, 0, 0, &sink), 0);
}

TEST_F(HostileDeviceTest, LongHeartbeatsCountAsLifeAndNothingElse) {
    const HttpDevsim sim({});
    const auto device = Make(sim.Device(0));
    ASSERT_TRUE(Works(*device));
    sim.SetFault(0, "hugeBody@heart-beat=1");
    EXPECT_EQ(factory_.CreatePreviewServer(device.get(), -1, nullptr), nullptr);
    EXPECT_TRUE(Works(*device));
}

TEST_F(HostileDeviceTest, SilentDevicesDoNotHoldUpTheFacesOfAnother) {
    Init("requestTimeoutMs=120000");  // longer than any wait here
    constexpr size_t kSilent = 12;
    const HttpDevsim sim({"--count", "13", "--face-interval-ms", "100"});
    std::vector<std::shared_ptr<IVideoDevice>> devices;
    for (size_t i = 0; i <= kSilent; ++i) {
        devices.push_back(Make(sim.Device(i)));
        ASSERT_TRUE(Works(*devices.back()));
    }
    UnitRecorder nothing;
    UnitRecorder sink;
    std::vector<std::unique_ptr<IFaceFrameServer>> faces;
    for (size_t i = 0; i < kSilent; ++i) {
        sim.SetFault(i, "silent@heart-beat");
        faces.emplace_back(factory_.CreateFaceFrameServer(devices[i].get()));
        ASSERT_EQ(faces.back()->StartFaceFrame("silent", 0, &nothing), 0);
    }
    for (size_t i = 0; i < 4; ++i)
        ASSERT_TRUE(Eventually([&] { return Asked(sim, "session/heart-beat", i) > 0; }));
    faces.emplace_back(factory_.CreateFaceFrameServer(devices[kSilent].get()));
    ASSERT_EQ(faces.back()->StartFaceFrame("face", 0, &sink), 0);
    EXPECT_TRUE(sink.WaitCount(2));
}

TEST_F(HostileDeviceTest, SessionsThatAreNeverTakenCostFewLogins) {
    const HttpDevsim sim({});
    const auto device = Make(sim.Device(0));
    ASSERT_TRUE(Works(*device));
    sim.SetFault(0, "sessionExpired");
    for (int i = 0; i < 100; ++i)
        EXPECT_FALSE(Works(*device));
    EXPECT_LE(Logins(sim), 8) << "1 s, 2 s, 4 s ... apart";
    EXPECT_GE(Logins(sim), 2);
    sim.ClearFaults(0);
    EXPECT_TRUE(Eventually([&] { return Works(*device); }));
}

TEST_F(HostileDeviceTest, RefusedLoginsPauseWhateverTheRefusalLooksLike) {
    const HttpDevsim sim({});
    for (const char* const refusal : {"httpStatus@login=401", "loginRefused"}) {
        SCOPED_TRACE(refusal);
        sim.SetFault(0, refusal);
        const int before = Logins(sim);
        const auto device = Make(sim.Device(0));
        EXPECT_EQ(device->GetDevSessionId(), "");
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (std::chrono::steady_clock::now() < end)
            ASSERT_FALSE(Works(*device));
        EXPECT_EQ(Logins(sim), before + 1) << "the next after five seconds";
        sim.ClearFaults(0);
        EXPECT_TRUE(Works(*Make(sim.Device(0)))) << "added anew, it starts afresh";
    }
}

TEST_F(HostileDeviceTest, AFailedProofOfTheKeyLeavesNoSession) {
    const HttpDevsim sim(
        {"--login", "quorix", "--session-seconds", "86400", "--fault", "0:keyRefused"});
    const auto device = Make(sim.Device(0));
    EXPECT_EQ(device->GetDevSessionId(), "");
    EXPECT_FALSE(Works(*device));
    EXPECT_GE(Logins(sim), 1);
    EXPECT_TRUE(Eventually([&] { return sim.State(0)["sessions"] == 0; }));
}

TEST(LoginPacerTest, PausesDoubleAndEndWithSuccess) {
    using Kind = LoginOutcome::Kind;
    using std::chrono::seconds;
    for (const auto& [kind, first] : {std::pair{Kind::kRefused, 5}, {Kind::kFellSilent, 1}}) {
        LoginPacer pacer;
        auto now = LoginPacer::Clock::now();
        for (int pause = first; pause < 200; pause *= 2) {
            EXPECT_EQ(pacer.Left(now), seconds(0));
            pacer.OnLogin(kind, now);
            EXPECT_EQ(pacer.Left(now), seconds(std::min(pause, 60)));
            now += seconds(60);
        }
        pacer.OnLogin(Kind::kDone, now);
        pacer.OnLogin(kind, now);
        EXPECT_EQ(pacer.Left(now), seconds(first));
    }
}

TEST(LoginPacerTest, ShortSessionsPauseAndLongOnesDoNot) {
    using Kind = LoginOutcome::Kind;
    using std::chrono::seconds;
    LoginPacer pacer;
    auto now = LoginPacer::Clock::now();
    for (const int pause : {0, 1, 2, 4, 8, 16, 32, 60, 60}) {
        pacer.OnLogin(Kind::kDone, now);
        pacer.OnSessionLost(now += seconds(1));
        EXPECT_EQ(pacer.Left(now), seconds(pause));
        now += seconds(pause);
    }
    pacer.OnLogin(Kind::kDone, now);
    pacer.OnSessionLost(now += seconds(20));
    EXPECT_EQ(pacer.Left(now), seconds(0));
}

TEST(DeviceFrameTest, ImpossibleTimesAreMovedIntoTheirRange) {
    const std::string talk = MakeTalkFrame(AudioCodec::kALaw, 8000, 1, uint64_t{1} << 63, "x", 1);
    ASSERT_TRUE(IsDeviceFrame(talk.data(), static_cast<int>(talk.size())));
    UnitBuffer buffer;
    UnitRecorder sink;
    const DeviceFrame frame = ReadDeviceFrame(talk.data());
    buffer.Deliver(sink, "k", frame, talk.data(), static_cast<int>(talk.size()),
                   int64_t{kUntil} * 1000);
    ASSERT_EQ(sink.Count(), 1U);
    EXPECT_EQ(sink.All().front().timestamp, 0U);
}

}  // namespace
}  // namespace vms::httpdevice
