// What clients of a connection over TLS get when they take little and many send.
#include "host/net/TlsWire.h"

#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "host/net/TlsInput.h"
#include "tests/host/net/EchoFixture.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using test::EchoFixture;
using vms::test::TestSocket;
using Class = SendQueue::Class;

class TlsWireTest : public EchoFixture {
protected:
    static std::string Numbered(size_t number, size_t size) {
        std::string bytes = std::to_string(number) + ":";
        while (bytes.size() < size)
            bytes += static_cast<char>('a' + (bytes.size() * 7 + number) % 26);
        return bytes;
    }

    static FramePrefix PrefixOf(size_t size) {
        FramePrefix prefix;
        for (int i = 0; i < 4; ++i)
            prefix.bytes[static_cast<size_t>(i)] = static_cast<char>(size >> 8 * i);
        prefix.size = 4;
        return prefix;
    }

    [[nodiscard]] static bool Next(TestSocket& client, std::string& frame) {
        std::string head;
        if (!client.Read(4, head))
            return false;
        size_t size = 0;
        for (size_t i = 4; i > 0; --i)
            size = size << 8 | static_cast<unsigned char>(head[i - 1]);
        return size < (8U << 20) && client.Read(size, frame);
    }
};

TEST_F(TlsWireTest, FramesOfManySendersStayWholeAndInOrderForWhoReadsLate) {
    constexpr size_t kSenders = 3;
    constexpr size_t kFrames = 200;
    limits_.recordsPerKey = 50;  // of which some fall where the socket is full
    Start();
    const auto client = Secure();
    const auto connection = Latest();
    std::vector<std::thread> senders;
    for (size_t sender = 0; sender < kSenders; ++sender)
        senders.emplace_back([&, sender] {
            for (size_t i = 0; i < kFrames; ++i) {
                const std::string frame =
                    Numbered(sender * kFrames + i, 20 + (i * 7919 + sender) % 40'000);
                EXPECT_TRUE(connection->Send(PrefixOf(frame.size()), frame, Class::kPiece));
            }
        });
    for (std::thread& sender : senders)
        sender.join();
    size_t next[kSenders] = {};
    std::string frame;
    for (size_t got = 0; got < kSenders * kFrames; ++got) {
        ASSERT_TRUE(Next(*client, frame));
        const size_t number = std::stoul(frame);
        ASSERT_TRUE(frame == Numbered(number, frame.size())) << number;
        ASSERT_EQ(next[number / kFrames]++, number % kFrames);
    }
    EXPECT_EQ(connection->Counts().queuedBytes, 0U);
    EXPECT_TRUE(Echoes(*client, "and it goes on"));
}

/// The socket fills up in the middle of a frame, or before one of which a record is on its way.
TEST_F(TlsWireTest, WhatHasBegunGoesOutWholeAlsoWhenTheRestIsGivenUp) {
    Start();
    for (const size_t size : {size_t{40'000}, size_t{15'000}, size_t{700}}) {
        const auto client = Secure();
        const auto connection = Latest();
        size_t sent = 0;
        while (connection->Counts().queuedBytes < 20 * size) {
            const std::string frame = Numbered(sent++, size);
            ASSERT_TRUE(connection->Send(PrefixOf(size), frame, Class::kPiece));
        }
        connection->Finish();
        EXPECT_FALSE(connection->Send({}, "too late", Class::kPiece));
        EXPECT_TRUE(connection->SendRaw(std::string(PrefixOf(3).bytes.data(), 4) + "bye"));
        std::string frame;
        size_t got = 0;
        for (; got < sent && Next(*client, frame) && frame != "bye"; ++got)
            ASSERT_TRUE(frame == Numbered(got, size)) << got;
        EXPECT_TRUE(frame == "bye");
        EXPECT_LT(got, sent);
    }
}

/// The same while the frame is being encrypted.
TEST_F(TlsWireTest, FinishingWhileFramesGoOutLeavesThemWhole) {
    constexpr size_t kSize = 20'000;
    Start();
    for (int round = 0; round < 100; ++round) {
        const auto client = Secure();
        const auto connection = Latest();
        std::thread sender([&] {
            const std::string frame = Numbered(0, kSize);
            while (connection->Send(PrefixOf(kSize), frame, Class::kPiece)) {
                while (connection->Counts().queuedBytes > 50 * kSize)
                    std::this_thread::yield();  // else it may be found too slow before it begins
            }
        });
        std::string frame;
        EXPECT_TRUE(Next(*client, frame));
        connection->Finish();
        EXPECT_TRUE(connection->SendRaw(std::string(PrefixOf(3).bytes.data(), 4) + "bye"));
        while (Next(*client, frame) && frame != "bye")
            ASSERT_TRUE(frame == Numbered(0, kSize));
        EXPECT_TRUE(frame == "bye") << round;
        sender.join();
    }
}

/// A wire whose socket holds all that has been written and has no room for more.
TEST_F(TlsWireTest, TheEndIsSaidOnceThereIsRoomForIt) {
    for (const bool isClosed : {false, true}) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
        vms::test::TestTls client(ends[1], [](int socket, short events) {
            pollfd entry{socket, events, 0};
            return poll(&entry, 1, 20'000) > 0;
        });
        Ssl tls = tls_->NewConnection();
        ASSERT_TRUE(AttachTls(tls.get(), ends[0]));
        AllowInput(SSL_get_rbio(tls.get()), 1 << 20);
        ASSERT_TRUE(client.SendHello());
        EXPECT_EQ(SSL_do_handshake(tls.get()), -1);
        ASSERT_TRUE(client.Shake());
        ASSERT_EQ(SSL_do_handshake(tls.get()), 1);

        boost::asio::io_context io;
        const auto wire = MakeTlsWire({io, boost::asio::ip::tcp::v4(), ends[0]}, std::move(tls));
        std::string bytes(10'000, 'x');
        const iovec part{bytes.data(), bytes.size()};
        ASSERT_EQ(wire->Write(&part, 1), static_cast<ssize_t>(bytes.size()));
        const int least = 1;  // from now on it is more than full
        setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
        if (isClosed)
            wire->Close();
        else
            wire->EndSending();
        io.poll();
        char room[20'000];
        for (size_t got = 0; got < bytes.size();) {
            const ssize_t count = client.Receive(room, sizeof room);
            ASSERT_GT(count, 0);
            got += static_cast<size_t>(count);
        }
        io.run_for(20s);
        EXPECT_EQ(client.Receive(room, sizeof room), 0);
        EXPECT_TRUE(client.PeerHasFinished()) << isClosed;
        wire->Close();
        close(ends[1]);
    }
}

TEST_F(TlsWireTest, TheServerTakesNewKeysItself) {
    limits_.recordsPerKey = 10;
    Start();
    const auto client = Secure(TLS1_3_VERSION);
    const int expected = IsSentByKernel(*Latest()) ? 0 : 5;
    std::atomic<int> updates{0};
    SSL_set_msg_callback(client->Tls()->Native(), [](int isWritten, int, int type,
                                                     const void* bytes, size_t, SSL*, void* count) {
        constexpr unsigned char kKeyUpdate = 24;
        if (isWritten == 0 && type == SSL3_RT_HANDSHAKE &&
            *static_cast<const unsigned char*>(bytes) == kKeyUpdate)
            ++*static_cast<std::atomic<int>*>(count);
    });
    SSL_set_msg_callback_arg(client->Tls()->Native(), &updates);
    for (int i = 0; i < 55; ++i)
        ASSERT_TRUE(Echoes(*client, "x"));
    EXPECT_EQ(updates, expected);
}

/// Whoever sends holds no lock while another thread encrypts, so that even then nothing waits.
TEST_F(TlsWireTest, ClosingWhileOthersSendIsHarmless) {
    Start();
    for (int round = 0; round < 50; ++round) {
        const auto client = Secure();
        const auto connection = Latest();
        std::atomic<bool> stop{false};
        std::thread sender([&] {
            const std::string frame(5000, 'x');
            while (!stop && connection->Send({}, frame, Class::kPiece)) {
            }
        });
        std::promise<void> closed;
        if (round % 2 == 0)
            client->Reset();
        boost::asio::post(io_.Context(), [&] {
            connection->Close();
            closed.set_value();
        });
        EXPECT_EQ(closed.get_future().wait_for(20s), std::future_status::ready);
        stop = true;
        sender.join();
    }
}

}  // namespace
}  // namespace vms::host
