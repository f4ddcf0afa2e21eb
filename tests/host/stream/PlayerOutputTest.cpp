// What one player's socket gets, byte by byte, when it takes little and several threads send.
#include "host/stream/PlayerOutput.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>
#include <thread>
#include <vector>

#include "platform/Mutex.h"
#include "tests/host/stream/MediaUnit.h"

namespace {

using vms::PlayerOutput;
using vms::SendVerdict;
using vms::UnitKind;
using vms::test::MediaUnit;
using vms::test::UnitNumber;
using vms::test::UnitType;

constexpr int kPatience = 20'000;  ///< milliseconds

bool WaitFor(int descriptor, short events) {
    pollfd entry{descriptor, events, 0};
    return poll(&entry, 1, kPatience) > 0;
}

/// An output on one end of a pair of sockets, and the other end.
class PlayerOutputTest : public testing::Test {
protected:
    PlayerOutputTest() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends_), 0);
        const int small = 4096;
        setsockopt(ends_[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
        output_.Open(ends_[0]);
    }
    ~PlayerOutputTest() override {
        output_.Close();
        close(ends_[0]);
        if (ends_[1] >= 0)
            close(ends_[1]);
    }

    PlayerOutput::Outcome SendLive(const std::string& unit) {
        return output_.SendUnit(unit, vms::KindOfUnit(unit.data(), unit.size()), false);
    }
    PlayerOutput::Outcome SendPlayback(const std::string& unit) {
        return output_.SendUnit(unit, vms::KindOfUnit(unit.data(), unit.size()), true);
    }

    void Note(const PlayerOutput::Outcome& outcome) {
        vms::MutexLock lock(mutex_);
        ++verdicts_[outcome.verdict];
        flushesWanted_ += outcome.flush ? 1 : 0;
        changed_.NotifyAll();
    }

    /// Does what the output asks for, until there is nothing more to come.
    void FlushUntil(const std::atomic<bool>& done) {
        while (!done) {
            {
                vms::MutexLock lock(mutex_);
                if (flushesWanted_ == 0) {
                    changed_.WaitUntil(
                        mutex_, std::chrono::steady_clock::now() + std::chrono::milliseconds(10));
                    continue;
                }
                --flushesWanted_;
            }
            while (WaitFor(ends_[0], POLLOUT) && output_.Flush()) {
            }
        }
    }

    bool Read(size_t count, std::string& bytes) {
        bytes.resize(count);
        for (size_t got = 0; got < count;) {
            if (!WaitFor(ends_[1], POLLIN))
                return false;
            const ssize_t part = read(ends_[1], bytes.data() + got, count - got);
            if (part <= 0)
                return false;
            got += static_cast<size_t>(part);
        }
        return true;
    }

    /// Everything that has been sent so far.
    std::string Drain() {
        std::string all;
        char buffer[4096];
        for (bool more = true; more;) {
            more = output_.Flush();
            for (ssize_t count = 1; count > 0;) {
                count = recv(ends_[1], buffer, sizeof buffer, MSG_DONTWAIT);
                if (count > 0)
                    all.append(buffer, static_cast<size_t>(count));
            }
        }
        return all;
    }

    int ends_[2] = {-1, -1};
    PlayerOutput output_{vms::SendLimits{}};
    vms::Mutex mutex_;
    vms::CondVar changed_;
    std::map<SendVerdict, int> verdicts_ VMS_GUARDED_BY(mutex_);
    int flushesWanted_ VMS_GUARDED_BY(mutex_) = 0;
};

TEST_F(PlayerOutputTest, LengthsAreWrittenInTheShortestForm) {
    const std::map<size_t, std::string> headers{
        {0, std::string("\x81\x00", 2)},
        {125, "\x81\x7d"},
        {126, std::string("\x81\x7e\x00\x7e", 4)},
        {65535, "\x81\x7e\xff\xff"},
        {65536, std::string("\x81\x7f\x00\x00\x00\x00\x00\x01\x00\x00", 10)}};
    for (const auto& [size, header] : headers) {
        const std::string text(size, 'x');
        EXPECT_EQ(output_.SendText(text).verdict, SendVerdict::accepted);
        EXPECT_TRUE(Drain() == header + text) << size;
    }
    EXPECT_EQ(SendLive(MediaUnit(UnitType::key, 0, 32)).verdict, SendVerdict::accepted);
    EXPECT_EQ(Drain().substr(0, 2), "\x82\x20");
    EXPECT_EQ(output_.Counts().sentUnits, 1U);
    EXPECT_EQ(output_.Counts().queuedBytes, 0U);
}

TEST_F(PlayerOutputTest, FramesOfSeveralThreadsStayWholeAndInOrder) {
    constexpr int kThreads = 4;
    constexpr int kUnits = 300;
    std::atomic<bool> done{false};
    std::thread flusher([&] { FlushUntil(done); });
    std::vector<std::thread> senders;
    for (int thread = 0; thread < kThreads; ++thread)
        senders.emplace_back([this, thread] {
            for (int i = 0; i < kUnits; ++i)
                Note(SendPlayback(MediaUnit(UnitType::picture, thread * kUnits + i,
                                            200U + static_cast<unsigned>(i * 37 % 9000))));
        });
    std::map<int, int> next;
    std::string head;
    std::string unit;
    int frames = 0;
    while (frames < kThreads * kUnits && Read(4, head)) {
        ASSERT_EQ(head.substr(0, 2), "\x82\x7e");
        ASSERT_TRUE(
            Read(static_cast<unsigned char>(head[2]) * 256U + static_cast<unsigned char>(head[3]),
                 unit));
        const int number = UnitNumber(unit);
        ASSERT_TRUE(unit == MediaUnit(UnitType::picture, number, unit.size()));
        ASSERT_EQ(next[number / kUnits]++, number % kUnits);
        ++frames;
    }
    EXPECT_EQ(frames, kThreads * kUnits);
    for (std::thread& sender : senders)
        sender.join();
    done = true;
    flusher.join();
    EXPECT_EQ(output_.Counts().sentUnits, static_cast<uint64_t>(kThreads * kUnits));
    EXPECT_EQ(output_.Counts().queuedUnits, 0U);
}

TEST_F(PlayerOutputTest, FinishedItSendsTheFrameThatHasBegunAndControlFramesOnly) {
    const std::string begun = MediaUnit(UnitType::key, 1, 100'000);
    EXPECT_TRUE(SendLive(begun).flush);
    EXPECT_FALSE(SendLive(MediaUnit(UnitType::picture, 2, 100)).flush);
    output_.Finish();
    EXPECT_EQ(SendLive(begun).verdict, SendVerdict::closed);
    EXPECT_EQ(SendPlayback(begun).verdict, SendVerdict::closed);
    EXPECT_EQ(output_.SendText("x").verdict, SendVerdict::closed);
    EXPECT_EQ(output_.SendRaw("bye").verdict, SendVerdict::accepted);
    const std::string all = Drain();
    ASSERT_EQ(all.size(), 10 + begun.size() + 3);
    EXPECT_TRUE(all.substr(10) == begun + "bye");
}

TEST_F(PlayerOutputTest, WhileItIsClaimedOthersQueueAndClosingWaits) {
    const std::string unit = MediaUnit(UnitType::key, 1, 1000);
    const vms::FrameHeader header = vms::BinaryFrame(unit.size());
    const std::string frame = std::string(header.bytes.data(), header.size) + unit;
    const auto claim = [&] { return output_.ClaimFor(unit, UnitKind::keyPicture, false); };

    ASSERT_EQ(claim().descriptor, ends_[0]);
    EXPECT_FALSE(SendLive(unit).flush);
    EXPECT_EQ(output_.SendRaw("pong").verdict, SendVerdict::accepted);
    EXPECT_EQ(claim().descriptor, -1);  // queued, too
    EXPECT_EQ(Drain(), "");
    const size_t taken = 300;
    ASSERT_EQ(send(ends_[0], frame.data(), taken, 0), static_cast<ssize_t>(taken));
    EXPECT_TRUE(output_.Release(header, unit, taken).flush);
    EXPECT_TRUE(Drain() == frame + frame + "pong" + frame);
    EXPECT_EQ(output_.Counts().sentUnits, 3U);

    ASSERT_EQ(claim().descriptor, ends_[0]);
    output_.Finish();
    EXPECT_FALSE(output_.Release(header, unit, 0).flush);  // of a finished player's, nothing begins
    EXPECT_EQ(claim().outcome.verdict, SendVerdict::closed);

    PlayerOutput other{vms::SendLimits{}};
    other.Open(ends_[0]);
    ASSERT_NE(other.ClaimFor(unit, UnitKind::keyPicture, true).descriptor, -1);
    std::atomic<bool> closed{false};
    std::thread closer([&] {
        other.Close();
        closed = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(closed);
    EXPECT_EQ(other.Release(header, unit, -1).verdict, SendVerdict::closed);
    closer.join();
}

TEST_F(PlayerOutputTest, TooSlowIsSaidOnce) {
    vms::SendLimits limits;
    limits.playbackBytes = 1;
    PlayerOutput output(limits);
    output.Open(ends_[0]);
    const std::string unit = MediaUnit(UnitType::key, 1, 100'000);
    EXPECT_EQ(output.SendUnit(unit, UnitKind::keyPicture, true).verdict, SendVerdict::accepted);
    EXPECT_EQ(output.SendUnit(unit, UnitKind::keyPicture, true).verdict, SendVerdict::tooSlow);
    EXPECT_EQ(output.SendUnit(unit, UnitKind::keyPicture, true).verdict, SendVerdict::closed);
    EXPECT_EQ(output.SendUnit(unit, UnitKind::keyPicture, false).verdict, SendVerdict::closed);
}

TEST_F(PlayerOutputTest, APeerThatIsGoneOrAClosedOutputTakesNothing) {
    close(ends_[1]);
    ends_[1] = -1;
    EXPECT_EQ(output_.SendText("x").verdict, SendVerdict::closed);
    EXPECT_EQ(output_.SendRaw("x").verdict, SendVerdict::closed);
    EXPECT_FALSE(output_.Flush());

    PlayerOutput unopened{vms::SendLimits{}};
    EXPECT_EQ(unopened.SendText("x").verdict, SendVerdict::closed);
}

}  // namespace
