// What one client's socket gets, byte by byte, when it takes little and several threads send.
#include "host/net/Output.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <boost/asio/ip/tcp.hpp>

#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "host/net/PlainWire.h"
#include "host/players/websocket/WebSocketFrame.h"
#include "platform/Mutex.h"
#include "tests/host/net/TestUnit.h"

namespace {

using vms::MediaUnit;
using vms::UnitKind;
using vms::host::Output;
using vms::host::SendVerdict;
using vms::host::test::TestUnit;
using vms::host::test::UnitNumber;
using vms::host::test::UnitType;
using Class = vms::host::SendQueue::Class;

constexpr int kPatience = 20'000;  ///< milliseconds

bool WaitFor(int descriptor, short events) {
    pollfd entry{descriptor, events, 0};
    return poll(&entry, 1, kPatience) > 0;
}

/// An output on one end of a pair of sockets, and the other end.
class OutputTest : public testing::Test {
protected:
    OutputTest() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends_), 0);
        wire_ = vms::host::MakePlainWire({io_, boost::asio::ip::tcp::v4(), ends_[0]});
        const int small = 4096;
        setsockopt(ends_[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
        Renew({});
    }
    ~OutputTest() override {
        output_->Close();
        if (ends_[1] >= 0)
            close(ends_[1]);
    }

    void Renew(const vms::host::SendLimits& limits) {
        output_ = std::make_unique<Output>(*wire_, limits);
    }

    static vms::host::Chunk Frame(const std::string& unit) {
        return vms::host::UnitFrame(MediaUnit::Copy(unit));
    }
    Output::Outcome SendLive(const std::string& unit) { return output_->SendLive(Frame(unit)); }
    Output::Outcome SendPlayback(const std::string& unit) {
        return output_->SendUnit(vms::host::BinaryFrame(unit.size()), unit, UnitKind::kPicture,
                                 true);
    }
    Output::Outcome SendText(const std::string& text) {
        return output_->Send(vms::host::TextFrame(text.size()), text, Class::kPiece);
    }

    void Note(const Output::Outcome& outcome) {
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
            while (WaitFor(ends_[0], POLLOUT) && output_->Flush()) {
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
            more = output_->Flush();
            for (ssize_t count = 1; count > 0;) {
                count = recv(ends_[1], buffer, sizeof buffer, MSG_DONTWAIT);
                if (count > 0)
                    all.append(buffer, static_cast<size_t>(count));
            }
        }
        return all;
    }

    int ends_[2] = {-1, -1};  ///< the first is the wire's
    boost::asio::io_context io_;
    std::unique_ptr<vms::host::Wire> wire_;
    std::unique_ptr<Output> output_;
    vms::Mutex mutex_;
    vms::CondVar changed_;
    std::map<SendVerdict, int> verdicts_ VMS_GUARDED_BY(mutex_);
    int flushesWanted_ VMS_GUARDED_BY(mutex_) = 0;
};

TEST_F(OutputTest, LengthsAreWrittenInTheShortestForm) {
    const std::map<size_t, std::string> headers{
        {0, std::string("\x81\x00", 2)},
        {125, "\x81\x7d"},
        {126, std::string("\x81\x7e\x00\x7e", 4)},
        {65535, "\x81\x7e\xff\xff"},
        {65536, std::string("\x81\x7f\x00\x00\x00\x00\x00\x01\x00\x00", 10)}};
    for (const auto& [size, header] : headers) {
        const std::string text(size, 'x');
        EXPECT_EQ(SendText(text).verdict, SendVerdict::kAccepted);
        EXPECT_TRUE(Drain() == header + text) << size;
    }
    EXPECT_EQ(SendLive(TestUnit(UnitType::kKey, 0, 32)).verdict, SendVerdict::kAccepted);
    EXPECT_EQ(Drain().substr(0, 2), "\x82\x20");
    EXPECT_EQ(output_->Counts().sentUnits, 1U);
    EXPECT_EQ(output_->Counts().queuedBytes, 0U);
}

TEST_F(OutputTest, FramesOfSeveralThreadsStayWholeAndInOrder) {
    constexpr int kThreads = 4;
    constexpr int kUnits = 300;
    std::atomic<bool> done{false};
    std::thread flusher([&] { FlushUntil(done); });
    std::vector<std::thread> senders;
    for (int thread = 0; thread < kThreads; ++thread)
        senders.emplace_back([this, thread] {
            for (int i = 0; i < kUnits; ++i)
                Note(SendPlayback(TestUnit(UnitType::kPicture, thread * kUnits + i,
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
        ASSERT_TRUE(unit == TestUnit(UnitType::kPicture, number, unit.size()));
        ASSERT_EQ(next[number / kUnits]++, number % kUnits);
        ++frames;
    }
    EXPECT_EQ(frames, kThreads * kUnits);
    for (std::thread& sender : senders)
        sender.join();
    done = true;
    flusher.join();
    EXPECT_EQ(output_->Counts().sentUnits, static_cast<uint64_t>(kThreads * kUnits));
    EXPECT_EQ(output_->Counts().queuedUnits, 0U);
}

TEST_F(OutputTest, FinishedItSendsTheFrameThatHasBegunAndControlFramesOnly) {
    const std::string begun = TestUnit(UnitType::kKey, 1, 100'000);
    EXPECT_TRUE(SendLive(begun).flush);
    EXPECT_FALSE(SendLive(TestUnit(UnitType::kPicture, 2, 100)).flush);
    output_->Finish();
    EXPECT_EQ(SendLive(begun).verdict, SendVerdict::kClosed);
    EXPECT_EQ(SendPlayback(begun).verdict, SendVerdict::kClosed);
    EXPECT_EQ(SendText("x").verdict, SendVerdict::kClosed);
    EXPECT_EQ(output_->SendRaw("bye").verdict, SendVerdict::kAccepted);
    const std::string all = Drain();
    ASSERT_EQ(all.size(), 10 + begun.size() + 3);
    EXPECT_TRUE(all.substr(10) == begun + "bye");
}

TEST_F(OutputTest, WhileItIsClaimedOthersQueueAndClosingWaits) {
    const std::string unit = TestUnit(UnitType::kKey, 1, 1000);
    const vms::host::Chunk chunk = Frame(unit);
    const std::string frame = std::string(chunk.prefix.bytes.data(), chunk.prefix.size) + unit;
    const auto claim = [&] { return output_->ClaimFor(chunk); };

    ASSERT_EQ(claim().socket, ends_[0]);
    EXPECT_FALSE(SendLive(unit).flush);
    EXPECT_EQ(output_->SendRaw("pong").verdict, SendVerdict::kAccepted);
    EXPECT_EQ(claim().socket, -1);  // queued, too
    EXPECT_EQ(Drain(), "");
    const size_t taken = 300;
    ASSERT_EQ(send(ends_[0], frame.data(), taken, 0), static_cast<ssize_t>(taken));
    EXPECT_TRUE(output_->Release(chunk, taken).flush);
    EXPECT_TRUE(Drain() == frame + frame + "pong" + frame);
    EXPECT_EQ(output_->Counts().sentUnits, 3U);

    ASSERT_EQ(claim().socket, ends_[0]);
    output_->Finish();
    EXPECT_FALSE(output_->Release(chunk, 0).flush);  // of a finished client's, nothing begins
    EXPECT_EQ(claim().outcome.verdict, SendVerdict::kClosed);

    Renew({});
    ASSERT_NE(claim().socket, -1);
    std::atomic<bool> closed{false};
    std::thread closer([&] {
        output_->Close();
        closed = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(closed);
    EXPECT_EQ(output_->Release(chunk, -1).verdict, SendVerdict::kClosed);
    closer.join();
}

TEST_F(OutputTest, WhatItIsGivenToBeginWithGoesFirstAndWhole) {
    vms::host::SendLimits limits;
    limits.liveBytes = 1000;
    Renew(limits);
    std::vector<vms::host::Chunk> group;
    std::string expected;
    const auto add = [&](UnitType type, int number, size_t size) {
        const std::string unit = TestUnit(type, number, size);
        const vms::host::Chunk chunk = Frame(unit);
        expected += std::string(chunk.prefix.bytes.data(), chunk.prefix.size) + unit;
        return chunk;
    };
    for (int i = 0; i < 10; ++i)
        group.push_back(add(i == 0 ? UnitType::kKey : UnitType::kPicture, i, 20'000));
    EXPECT_TRUE(output_->BeginLive(group, false));
    EXPECT_EQ(output_->SendLive(add(UnitType::kPicture, 10, 500)).verdict, SendVerdict::kAccepted);
    EXPECT_TRUE(Drain() == expected);
    EXPECT_EQ(output_->Counts().droppedUnits, 0U);
}

TEST_F(OutputTest, TooSlowIsSaidOnce) {
    vms::host::SendLimits limits;
    limits.wholeBytes = 1;
    Renew(limits);
    const std::string unit = TestUnit(UnitType::kKey, 1, 100'000);
    EXPECT_EQ(SendPlayback(unit).verdict, SendVerdict::kAccepted);
    EXPECT_EQ(SendPlayback(unit).verdict, SendVerdict::kTooSlow);
    EXPECT_EQ(SendPlayback(unit).verdict, SendVerdict::kClosed);
    EXPECT_EQ(SendLive(unit).verdict, SendVerdict::kClosed);
}

/// Somebody who asks and asks and reads no answer.
TEST_F(OutputTest, AnswersToWhoDoesNotReadAreBounded) {
    EXPECT_EQ(SendPlayback(TestUnit(UnitType::kKey, 1, 100'000)).verdict, SendVerdict::kAccepted);
    int answers = 0;
    while (output_->SendRaw("pong").verdict == SendVerdict::kAccepted)
        ASSERT_LT(++answers, 100'000);
    EXPECT_LT(output_->Counts().queuedBytes, 1U << 20);
}

TEST_F(OutputTest, APeerThatIsGoneOrAClosedOutputTakesNothing) {
    close(ends_[1]);
    ends_[1] = -1;
    EXPECT_EQ(SendText("x").verdict, SendVerdict::kClosed);
    EXPECT_EQ(output_->SendRaw("x").verdict, SendVerdict::kClosed);
    EXPECT_FALSE(output_->Flush());

    Renew({});
    output_->Close();
    EXPECT_EQ(SendText("x").verdict, SendVerdict::kClosed);
}

}  // namespace
