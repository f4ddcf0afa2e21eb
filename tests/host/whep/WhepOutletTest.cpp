// What a browser is given of a stream, and when it is to show it.
#include "host/players/whep/WhepOutlet.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/players/whep/WhepProbe.h"
#include "host/relay/Relay.h"
#include "tests/host/net/TestUnit.h"

namespace {

using namespace std::chrono_literals;
using namespace vms::host;
using namespace vms::host::test;
using vms::MediaCodec;
using vms::MediaUnit;

class Session final : public vms::whep::Session {
public:
    void Push(const MediaUnit& unit, int64_t timeMs) noexcept override {
        serials.push_back(unit.Header().serial);
        times.push_back(timeMs);
    }
    size_t WaitingBytes() const noexcept override { return waiting; }

    std::vector<uint32_t> serials;
    std::vector<int64_t> times;
    size_t waiting = 0;
};

using Serials = std::vector<uint32_t>;

class WhepOutletTest : public testing::Test {
protected:
    void Send(UnitType type, int serial) { relay_.SendUnit(TestUnit(type, serial, 100), false); }

    void Join() {
        relay_.WithOutlet(
            "whep", [this] { return outlet_; }, [this](Outlet&) { outlet_->Begin(); });
    }
    void Leave() {
        relay_.WithOutlet(
            "whep", [this] { return outlet_; }, [this](Outlet&) { outlet_->Leave(); });
    }

    std::shared_ptr<Session> session_ = std::make_shared<Session>();
    std::string reason_;
    SendLimits limits_;
    std::shared_ptr<WhepOutlet> outlet_ = std::make_shared<WhepOutlet>(
        session_, MediaCodec::kALaw, [this](const std::string& reason) { reason_ = reason; },
        limits_);
    Relay relay_{1, "key"};
};

TEST_F(WhepOutletTest, TheNewestGroupComesAtOnceAndThenTheStream) {
    Send(UnitType::kKey, 1);
    for (int serial = 2; serial < 50; serial += 2) {
        Send(UnitType::kPicture, serial);
        Send(UnitType::kSound, serial + 1);
    }
    Join();
    ASSERT_EQ(session_->serials.size(), 25U) << "pictures without the sound that is over";
    EXPECT_EQ(session_->times.back() - session_->times.front(), 24) << "close together";
    Send(UnitType::kPicture, 50);
    Send(UnitType::kSound, 51);
    const size_t last = session_->times.size() - 1;
    EXPECT_EQ(session_->serials[last], 51U);
    EXPECT_EQ(session_->times[last - 1] - session_->times[last - 2], 80) << "serials 48 and 50";
    EXPECT_EQ(relay_.Counts().clients, 1U);
}

TEST_F(WhepOutletTest, TheGroupIsGivenAgainWithoutGoingBackInTime) {
    Send(UnitType::kKey, 1);
    Join();
    Send(UnitType::kPicture, 2);
    Leave();
    EXPECT_EQ(relay_.Counts().clients, 0U);
    Send(UnitType::kPicture, 3);
    Join();
    Send(UnitType::kPicture, 4);
    EXPECT_EQ(session_->serials, (Serials{1, 2, 1, 2, 3, 4}));
    for (size_t i = 1; i < session_->times.size(); ++i)
        EXPECT_GT(session_->times[i], session_->times[i - 1]) << i;
}

TEST_F(WhepOutletTest, WhatABrowserIsTooSlowForIsLeftOutUpToTheNextKeyPicture) {
    Send(UnitType::kKey, 1);
    Join();
    session_->waiting = limits_.liveBytes;
    Send(UnitType::kPicture, 2);
    session_->waiting = 0;
    Send(UnitType::kPicture, 3);
    Send(UnitType::kKey, 4);
    EXPECT_EQ(session_->serials, (Serials{1, 4}));
    EXPECT_EQ(outlet_->Sent().droppedUnits, 2U);
    EXPECT_EQ(outlet_->Sent().sentUnits, 2U);
}

TEST_F(WhepOutletTest, AStreamThatHasChangedEndsIt) {
    Send(UnitType::kKey, 1);
    Join();
    std::string unit = TestUnit(UnitType::kKey, 2, 100);
    vms::MediaUnitHeader header;
    ASSERT_TRUE(vms::ReadMediaHeader(unit, header));
    header.codec = static_cast<uint8_t>(vms::VideoCodec::kH265);
    vms::WriteMediaHeader(header, unit.data());
    relay_.SendUnit(unit, false);
    EXPECT_EQ(reason_, "the stream has changed");
    EXPECT_EQ(relay_.Counts().clients, 0U);
    relay_.End("the end");
    EXPECT_EQ(reason_, "the end");
}

TEST(WhepClock, FollowsTheStreamAndNotItsLeaps) {
    WhepClock clock;
    WhepClock::Time now{};
    EXPECT_EQ(clock.At(0xffffff00, true, now), 0);
    EXPECT_EQ(clock.At(0xffffff00 + 40, false, now), 40);
    EXPECT_EQ(clock.At(0xffffff00 + 400, true, now + 400ms), 400) << "past the end of 32 bits";
    EXPECT_EQ(clock.At(0xffffff00 + 300, true, now + 410ms), 401) << "pictures never go back";
    EXPECT_EQ(clock.At(77'000'000, true, now + 500ms), 500) << "another clock";
    EXPECT_EQ(clock.At(77'000'040, true, now + 540ms), 540);
    EXPECT_EQ(clock.At(5, true, now + 600ms), 600);
}

TEST(WhepClock, WhatIsCatchingUpIsForNow) {
    WhepClock clock;
    const WhepClock::Time now{};
    int64_t time = clock.At(1000, true, now);
    for (uint32_t serial = 1; serial <= 100; ++serial) {  // 4 s of pictures in one instant
        const int64_t next = clock.At(1000 + 40 * serial, true, now + 10ms);
        EXPECT_GT(next, time);
        EXPECT_LE(next, 10 + WhepClock::kLargestLead + serial) << serial;
        time = next;
    }
    EXPECT_LE(time, 320);
    time = clock.At(9000, true, now + 4010ms);
    EXPECT_GE(time, 4010) << "and then as time goes";
    EXPECT_LE(time, 4010 + WhepClock::kLargestLead);
}

class WhepProbeTest : public testing::Test {
protected:
    static MediaUnit Unit(UnitType type, int serial, const std::string& payload) {
        std::string unit = TestUnit(type, serial, 32) + payload;
        return MediaUnit::Copy(unit);
    }

    std::vector<WhepStream> found_;
    WhepProbe probe_{[this](const WhepStream& stream) { found_.push_back(stream); },
                     [](const std::string&) {}};
};

TEST_F(WhepProbeTest, LooksAtTheFirstPictureAndWaitsForSoundALittle) {
    const std::string set("\0\0\0\1\x09\xf0\0\0\0\1\x67\x4d\0\x1f", 14);
    probe_.Take(Unit(UnitType::kPicture, 1, "x"));
    probe_.Take(Unit(UnitType::kKey, 2, set));
    probe_.Take(Unit(UnitType::kPicture, 11, "x"));
    EXPECT_TRUE(found_.empty()) << "360 ms";
    probe_.Take(Unit(UnitType::kPicture, 12, "x"));
    probe_.Take(Unit(UnitType::kSound, 13, "x"));
    ASSERT_EQ(found_.size(), 1U);
    EXPECT_EQ(found_[0].video, MediaCodec::kH264);
    EXPECT_EQ(found_[0].profile, 0x4d);
    EXPECT_EQ(found_[0].sound, WhepSound::kNone);
}

TEST_F(WhepProbeTest, SoundThatHasComeNeedsNoWait) {
    probe_.Take(Unit(UnitType::kSound, 1, "x"));
    probe_.Take(Unit(UnitType::kKey, 2, "x"));
    ASSERT_EQ(found_.size(), 1U);
    EXPECT_EQ(found_[0].sound, WhepSound::kALaw);
    EXPECT_EQ(found_[0].profile, 0);
}

}  // namespace
