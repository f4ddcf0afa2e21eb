// Pictures and sound as packets, put together again as RFC 6184 has it.
#include "host/players/whep/plugin/RtpPayloads.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace vms::whep;
using namespace std::string_literals;

/// What a receiver makes of packets: NAL units, each with a start code in front.
std::string Joined(const std::vector<RtpPayload>& payloads) {
    std::string joined;
    for (const RtpPayload& payload : payloads) {
        EXPECT_LE(payload.Size(), kMostPayload);
        if (payload.headSize == 0) {
            joined += "\0\0\1"s + std::string(payload.body);
            continue;
        }
        EXPECT_EQ(payload.head[0] & 0x1f, 28);
        if ((payload.head[1] & 0x80) != 0) {
            const int first = (payload.head[0] & 0x60) | (payload.head[1] & 0x1f);
            joined += "\0\0\1"s + static_cast<char>(first);
        }
        joined += payload.body;
    }
    return joined;
}

std::string Whole(const std::string& picture) {
    std::vector<RtpPayload> payloads;
    return SplitH264(picture, payloads) ? Joined(payloads) : "";
}

TEST(RtpPayloads, GiveBackThePicture) {
    const std::string sets =
        "\0\0\1\x67"
        "abc\0\0\1\x68"
        "d"s;
    for (const size_t size : {size_t{10}, kMostPayload - 1, kMostPayload, kMostPayload + 1,
                              2 * kMostPayload, size_t{100000}}) {
        const std::string picture = sets + "\0\0\1\x65"s + std::string(size, 'x');
        EXPECT_EQ(Whole(picture), picture) << size;
        std::vector<RtpPayload> payloads;
        ASSERT_TRUE(SplitH264(picture, payloads));
        if (payloads.back().headSize > 0) {
            EXPECT_EQ(payloads[2].head[1] & 0xc0, 0x80) << "the first fragment";
            EXPECT_EQ(payloads.back().head[1] & 0xc0, 0x40) << "the last one";
        }
    }
}

TEST(RtpPayloads, LeaveOutWhatCannotBeSent) {
    EXPECT_EQ(Whole("\0\0\0\1\x09\xf0\0\0\0\1\x65xy\0\0\1\x0cwww\0\0\0\0"s), "\0\0\1\x65xy"s)
        << "a delimiter and filling, zeros behind";
    EXPECT_EQ(Whole("\0\0\1\0\0\1\0\0\1\x65\0\0\1\x7cxx\0\0\1\x61z"s), "\0\0\1\x61z"s)
        << "empty units, and one of a type that packets have";
    EXPECT_EQ(Whole(""), "");
    EXPECT_EQ(Whole("no start code"), "");
    EXPECT_EQ(Whole("\0\0\1"s), "");
}

TEST(RtpPayloads, AreBounded) {
    std::string tiny;
    for (size_t i = 0; i <= kMostPackets; ++i)
        tiny += "\0\0\1\x61z"s;
    EXPECT_EQ(Whole(tiny), "");
    EXPECT_EQ(Whole("\0\0\1\x65"s + std::string(kMostPackets * kMostPayload, 'x')), "");
    std::vector<RtpPayload> payloads;
    EXPECT_FALSE(SplitSound("", payloads));
    const std::string sound(kMostSound + 1, 's');
    EXPECT_TRUE(SplitSound(sound, payloads));
    ASSERT_EQ(payloads.size(), 2U);
    EXPECT_EQ(payloads[1].body, "s");
}

}  // namespace
