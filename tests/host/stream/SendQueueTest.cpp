// The rules by which slow players lose units or are given up, on a clock of the test's own.
#include "host/stream/SendQueue.h"

#include <gtest/gtest.h>

#include "tests/host/stream/MediaUnit.h"

namespace {

using namespace std::chrono_literals;
using vms::SendQueue;
using vms::SendVerdict;
using vms::UnitKind;
using vms::test::MediaUnit;
using vms::test::UnitType;

SendQueue::Time theTime;

class SendQueueTest : public testing::Test {
protected:
    void Queue(size_t bytes, bool isUnit = true) {
        queue_.Push(
            {vms::BinaryFrame(bytes), std::make_shared<std::string>(bytes, 'x'), 0, isUnit});
    }

    static vms::SendLimits Limits() {
        vms::SendLimits limits;
        limits.liveBytes = 100;
        limits.liveUnits = 3;
        limits.playbackBytes = 200;
        return limits;
    }

    SendQueue queue_{Limits(), [] { return theTime; }};
};

TEST_F(SendQueueTest, OverTheBoundPicturesAreDroppedUpToTheNextKeyPictureThatFindsRoom) {
    EXPECT_EQ(queue_.AdmitLive(UnitKind::picture), SendVerdict::accepted);
    Queue(99);
    EXPECT_EQ(queue_.AdmitLive(UnitKind::picture), SendVerdict::accepted);
    Queue(1);
    for (const UnitKind kind : {UnitKind::picture, UnitKind::keyPicture, UnitKind::other})
        EXPECT_EQ(queue_.AdmitLive(kind), SendVerdict::dropped);
    queue_.Pop();
    EXPECT_EQ(queue_.AdmitLive(UnitKind::other), SendVerdict::accepted);
    EXPECT_EQ(queue_.AdmitLive(UnitKind::picture), SendVerdict::dropped);
    EXPECT_EQ(queue_.AdmitLive(UnitKind::keyPicture), SendVerdict::accepted);
    EXPECT_EQ(queue_.AdmitLive(UnitKind::picture), SendVerdict::accepted);
    EXPECT_EQ(queue_.Counts().droppedUnits, 4U);
}

TEST_F(SendQueueTest, ADroppedSoundDoesNotCostThePicturesAfterIt) {
    Queue(100);
    EXPECT_EQ(queue_.AdmitLive(UnitKind::other), SendVerdict::dropped);
    queue_.Pop();
    EXPECT_EQ(queue_.AdmitLive(UnitKind::picture), SendVerdict::accepted);
}

TEST_F(SendQueueTest, UnitsHaveABoundOfTheirOwnAndTextsDoNotCount) {
    for (int i = 0; i < 5; ++i)
        Queue(1, false);
    Queue(1);
    Queue(1);
    EXPECT_EQ(queue_.AdmitLive(UnitKind::picture), SendVerdict::accepted);
    Queue(1);
    EXPECT_EQ(queue_.AdmitLive(UnitKind::picture), SendVerdict::dropped);
    EXPECT_EQ(queue_.Counts().queuedUnits, 3U);
    EXPECT_EQ(queue_.Counts().queuedBytes, 8U);
}

TEST_F(SendQueueTest, OnlyAPlayerThatStaysOverTheBoundIsGivenUp) {
    Queue(100);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(queue_.AdmitLive(UnitKind::keyPicture), SendVerdict::dropped);
        theTime += 9999ms;
        EXPECT_EQ(queue_.AdmitLive(UnitKind::keyPicture), SendVerdict::dropped);
        queue_.Pop();
        EXPECT_EQ(queue_.AdmitLive(UnitKind::keyPicture), SendVerdict::accepted);
        Queue(100);
    }
    EXPECT_EQ(queue_.AdmitLive(UnitKind::picture), SendVerdict::dropped);
    theTime += 10s;
    EXPECT_EQ(queue_.AdmitLive(UnitKind::picture), SendVerdict::tooSlow);
}

TEST_F(SendQueueTest, PlaybackIsAdmittedWholeUpToItsOwnBound) {
    Queue(199);
    theTime += 1h;
    EXPECT_EQ(queue_.AdmitWhole(), SendVerdict::accepted);
    Queue(1);
    EXPECT_EQ(queue_.AdmitWhole(), SendVerdict::tooSlow);
    queue_.Pop();
    EXPECT_EQ(queue_.AdmitWhole(), SendVerdict::accepted);
    EXPECT_EQ(queue_.Counts().droppedUnits, 0U);
    EXPECT_EQ(queue_.Counts().sentBytes, 199U);
}

TEST(UnitKind, IsReadFromTheHeaderOfAWholeOne) {
    const auto kind = [](const std::string& unit) {
        return vms::KindOfUnit(unit.data(), unit.size());
    };
    EXPECT_EQ(kind(MediaUnit(UnitType::key, 0, 32)), UnitKind::keyPicture);
    EXPECT_EQ(kind(MediaUnit(UnitType::picture, 0, 40)), UnitKind::picture);
    EXPECT_EQ(kind(MediaUnit(UnitType::sound, 0, 40)), UnitKind::other);
    EXPECT_EQ(kind(MediaUnit(UnitType::key, 0, 32).substr(0, 31)), UnitKind::other);
}

}  // namespace
