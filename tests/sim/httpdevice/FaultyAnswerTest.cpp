#include <gtest/gtest.h>

#include "sim/httpdevice/api/DeviceApi.h"
#include "sim/httpdevice/api/Sha256.h"
#include "sim/httpdevice/faults/AnswerFault.h"
#include "sim/httpdevice/faults/StreamFault.h"
#include "sim/httpdevice/media/AudioTracks.h"

namespace vms::sim::httpdevice {
namespace {

std::string BodyWith(const char* fault) {
    FaultBoard board;
    board.Add(ParseDeviceFault(fault));
    Json::Value data(Json::objectValue);
    data["name"] = "Gate";
    data["flag"] = true;
    data["inner"]["number"] = 5;
    const WireAnswer wire = ApplyFaults(board, "osd", data, true);
    return wire.bytes.substr(wire.bytes.find("\r\n\r\n") + 4);
}

TEST(AnswerFault, BodiesAreBrokenAsNamed) {
    EXPECT_EQ(BodyWith("wrongTypes"),
              R"({"code":0,"data":{"flag":"yes","inner":{"number":"5"},"name":7}})");
    EXPECT_EQ(BodyWith("code=1003"), R"({"code":1003})");
    EXPECT_EQ(BodyWith("deepJson=3"), R"({"code":0,"data":[[[]]]})");
    EXPECT_EQ(BodyWith("manyItems=2"), R"({"code":0,"data":{"itemList":[{},{}]}})");
    EXPECT_EQ(BodyWith("emptyBody"), "");
    EXPECT_EQ(BodyWith("code@login=1"), BodyWith("delay")) << "of another endpoint";
    EXPECT_FALSE(ParseJson(BodyWith("truncatedJson")));
    EXPECT_FALSE(ParseJson(BodyWith("garbage")));
}

Batch ThreeFrames() {
    Batch batch;
    batch.messages.push_back(OutMessage::Text("{}"));
    for (int i = 0; i < 3; ++i) {
        OutMessage frame;
        frame.head = Write(FrameHeader());
        frame.payload = std::make_shared<const std::string>("payload");
        frame.media = true;
        batch.messages.push_back(frame);
    }
    return batch;
}

TEST(StreamFault, CountsMediaFramesOfTheConnection) {
    FaultBoard board;
    board.Add(ParseDeviceFault("wsDrop=4"));
    StreamFault fault(board);
    Batch first = ThreeFrames();
    fault.Apply(first);
    EXPECT_EQ(first.messages.size(), 4u);
    EXPECT_EQ(first.end, Batch::End::kStay);
    Batch second = ThreeFrames();
    fault.Apply(second);
    EXPECT_EQ(second.messages.size(), 2u) << "the text and the fourth frame";
    EXPECT_EQ(second.end, Batch::End::kAbort);
}

TEST(StreamFault, SpoilsFramesAndLeavesTextsAlone) {
    FaultBoard board;
    board.Add(ParseDeviceFault("flood=3"));
    board.Add(ParseDeviceFault("frame37"));
    StreamFault fault(board);
    Batch batch = ThreeFrames();
    fault.Apply(batch);
    ASSERT_EQ(batch.messages.size(), 1u + 3 * (1 + 3));
    EXPECT_EQ(batch.messages[0].head, "{}");
    EXPECT_EQ(batch.messages[1].size(), 37u);
    EXPECT_EQ(batch.messages[4].size(), 43u);
}

// Every sample against the digest of what Python's audioop makes of it.
TEST(AudioTracks, CompandingAgreesWithAnotherImplementation) {
    std::string aLaw;
    std::string muLaw;
    for (int sample = -32768; sample < 32768; ++sample) {
        aLaw += static_cast<char>(ToALaw(sample));
        muLaw += static_cast<char>(ToMuLaw(sample));
    }
    EXPECT_EQ(ToHex(Sha256(aLaw)),
              "38488f6fd710f4686360edc4d38639f96c491595ef93f8eb8d62d5e07ca6ce7b");
    EXPECT_EQ(ToHex(Sha256(muLaw)),
              "81d633c9e6972a18c74a58720b96cb8ca0bdd096d4060b646dd708c3b846019a");
}

TEST(AudioTracks, AacFramesCarryTheirLength) {
    const SharedTrack track = MakeAudioTrack(AudioCodec::kAac);
    ASSERT_GE(track->frames.size(), 60u);
    for (const Track::Frame& frame : track->frames) {
        const std::string& unit = *frame.payload;
        const auto byte = [&](size_t at) { return static_cast<unsigned char>(unit[at]); };
        ASSERT_GT(unit.size(), 7u);
        EXPECT_EQ(byte(0), 0xff);
        EXPECT_EQ(byte(2) >> 2 & 0x0f, 8) << "16 kHz";
        EXPECT_EQ((byte(3) & 3u) << 11 | byte(4) << 3 | byte(5) >> 5, unit.size());
    }
}

}  // namespace
}  // namespace vms::sim::httpdevice
