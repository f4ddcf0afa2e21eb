// The rules by which slow clients lose units or are given up, on a clock of the test's own.
#include "host/net/DropPolicy.h"

#include <gtest/gtest.h>

#include "host/net/SendQueue.h"

namespace {

using namespace std::chrono_literals;
using vms::UnitKind;
using vms::host::DropPolicy;
using vms::host::SendQueue;
using vms::host::SendVerdict;

DropPolicy::Time theTime;

class DropPolicyTest : public testing::Test {
protected:
    SendVerdict Admit(UnitKind kind) { return policy_.Admit(kind, bytes_, units_); }

    static vms::host::SendLimits Limits() {
        vms::host::SendLimits limits;
        limits.liveBytes = 100;
        limits.liveUnits = 3;
        return limits;
    }

    size_t bytes_ = 0;
    size_t units_ = 0;
    DropPolicy policy_{Limits(), [] { return theTime; }};
};

TEST_F(DropPolicyTest, OverTheBoundPicturesAreDroppedUpToTheNextKeyPictureThatFindsRoom) {
    bytes_ = 99;
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kAccepted);
    bytes_ = 100;
    for (const UnitKind kind : {UnitKind::kPicture, UnitKind::kKeyPicture, UnitKind::kOther})
        EXPECT_EQ(Admit(kind), SendVerdict::kDropped);
    bytes_ = 1;
    EXPECT_EQ(Admit(UnitKind::kOther), SendVerdict::kAccepted);
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kDropped);
    EXPECT_EQ(Admit(UnitKind::kKeyPicture), SendVerdict::kAccepted);
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kAccepted);
    units_ = 3;
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kDropped);
}

TEST_F(DropPolicyTest, ADroppedSoundDoesNotCostThePicturesAfterIt) {
    bytes_ = 100;
    EXPECT_EQ(Admit(UnitKind::kOther), SendVerdict::kDropped);
    bytes_ = 0;
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kAccepted);
}

TEST_F(DropPolicyTest, OnlyAClientThatStaysOverTheBoundIsGivenUp) {
    for (int round = 0; round < 3; ++round) {
        bytes_ = 100;
        EXPECT_EQ(Admit(UnitKind::kKeyPicture), SendVerdict::kDropped);
        theTime += 9999ms;
        EXPECT_EQ(Admit(UnitKind::kKeyPicture), SendVerdict::kDropped);
        bytes_ = 0;
        EXPECT_EQ(Admit(UnitKind::kKeyPicture), SendVerdict::kAccepted);
    }
    bytes_ = 100;
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kDropped);
    theTime += 10s;
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kTooSlow);
}

TEST_F(DropPolicyTest, ANewcomerIsSparedPicturesOfNoUseButNotForEver) {
    policy_.Begin(true);
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kHeld);
    EXPECT_EQ(Admit(UnitKind::kOther), SendVerdict::kAccepted);
    EXPECT_EQ(Admit(UnitKind::kKeyPicture), SendVerdict::kAccepted);
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kAccepted);
    policy_.Begin(true);
    theTime += 9999ms;
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kHeld);
    theTime += 1ms;
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kAccepted);
    policy_.Begin(false);
    EXPECT_EQ(Admit(UnitKind::kPicture), SendVerdict::kAccepted);
}

TEST(SendQueueTest, WhatAClientIsGivenToBeginWithCountsTowardsNoBound) {
    SendQueue queue;
    const auto chunk = [](size_t bytes) {
        return vms::host::CopyChunk({}, std::string(bytes, 'x'));
    };
    const size_t empty = queue.BoundBytes();
    queue.Push({chunk(5000), SendQueue::Class::kPrelude});
    queue.Push({chunk(10), SendQueue::Class::kUnit});
    queue.Push({chunk(3), SendQueue::Class::kControl});
    EXPECT_EQ(queue.Counts().queuedBytes, 5013U);
    EXPECT_EQ(queue.Counts().queuedUnits, 2U);
    EXPECT_EQ(queue.BoundUnits(), 1U);
    EXPECT_LT(queue.BoundBytes(), 1500U);
    EXPECT_GT(queue.ControlBytes(), 100U) << "small frames are not for nothing";
    for (int i = 0; i < 3; ++i)
        queue.Pop();
    EXPECT_EQ(queue.BoundBytes(), empty);
    EXPECT_EQ(queue.ControlBytes(), 0U);
    EXPECT_EQ(queue.Counts().sentBytes, 5013U);
    EXPECT_EQ(queue.Counts().sentUnits, 2U);
}

}  // namespace
