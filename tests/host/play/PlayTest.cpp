// The parts of the player client that need no server.
#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/HostError.h"
#include "host/play/MediaOutput.h"
#include "host/play/PlayCommand.h"
#include "host/play/PlayStatistics.h"
#include "host/play/StreamUrl.h"
#include "host/play/TalkFile.h"
#include "tests/host/TemporaryFile.h"

namespace {

using testing::HasSubstr;
using vms::PlayCommand;
using vms::UnitCodec;
using vms::UnitHeader;

TEST(StreamUrl, HostPortAndPathAreTakenApart) {
    const vms::StreamUrl plain = vms::ParseStreamUrl("ws://cam.example:8080/stream?token=a");
    EXPECT_EQ(plain.host + "|" + std::to_string(plain.port) + "|" + plain.path,
              "cam.example|8080|/stream?token=a");
    EXPECT_FALSE(plain.secure);
    const vms::StreamUrl six = vms::ParseStreamUrl("wss://[::1]");
    EXPECT_EQ(six.host + "|" + std::to_string(six.port) + "|" + six.path, "::1|443|/stream");
    EXPECT_TRUE(six.secure);
    for (const char* bad :
         {"http://x/", "ws://", "ws://:80/", "ws://h:0/", "ws://h:99999/", "ws://h:8x/", "ws:/h"})
        EXPECT_THROW(vms::ParseStreamUrl(bad), vms::HostError) << bad;
}

TEST(PlayCommand, EachLineIsOneCommandOrNone) {
    EXPECT_EQ(vms::ParsePlayCommand(" seek\t1700000000 \r")->argument, "1700000000");
    EXPECT_EQ(vms::ParsePlayCommand("talk my file.wav")->argument, "my file.wav");
    EXPECT_EQ(vms::ParsePlayCommand("pause")->kind, PlayCommand::Kind::pause);
    for (const char* none : {"", "seek", "pause 3", "Pause", "stop"})
        EXPECT_FALSE(vms::ParsePlayCommand(none)) << none;
}

TEST(UnitHeader, FieldsComeFromTheirPlaces) {
    std::string unit(40, '\0');
    unit[4] = 1 << 2;
    unit[9] = '\x96';
    unit[16] = 10;
    unit[20] = 64;
    unit[22] = 48;
    UnitHeader header;
    ASSERT_TRUE(vms::ReadUnitHeader(unit, header));
    EXPECT_EQ(header.codec, UnitCodec::h265);
    EXPECT_TRUE(header.isVideo && header.isKey);
    EXPECT_EQ(header.timestampMs, 10U);
    EXPECT_EQ(header.width, 64);
    EXPECT_EQ(header.height, 48);
    unit[4] = 1;
    unit[10] = 2;
    ASSERT_TRUE(vms::ReadUnitHeader(unit, header));
    EXPECT_EQ(header.codec, UnitCodec::mulaw);
    EXPECT_FALSE(header.isVideo || header.isKey);
    EXPECT_FALSE(vms::ReadUnitHeader(std::string(31, '\0'), header));
}

TEST(TalkUnit, SaysItsLength) {
    const std::string unit = vms::TalkUnit(std::string(320, 'x'));
    uint32_t word = 0;
    std::memcpy(&word, &unit[4], sizeof word);
    EXPECT_EQ(word, 2U | (320U << 7));
    EXPECT_EQ(unit.substr(32), std::string(320, 'x'));
}

TEST(PlayStatistics, LostUnitsAreCountedAfterTheJoin) {
    vms::PlayStatistics statistics;
    UnitHeader header;
    header.codec = UnitCodec::h264;
    for (const uint32_t serial : {5U, 9U, 12U, 13U, 16U}) {
        header.serial = serial;
        header.isKey = serial < 12;
        statistics.Count(header, 100);
    }
    const Json::Value json = statistics.ToJson();
    EXPECT_EQ(json["lostUnits"].asUInt(), 2U);
    EXPECT_EQ(json["codecs"]["h264"]["bytes"].asUInt(), 500U);
}

std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(MediaOutput, AnElementaryFileTakesItsCodecOnly) {
    const std::string path = testing::TempDir() + "play_test.alaw";
    const auto sink = vms::OpenMediaOutput(path);
    UnitHeader header;
    header.codec = UnitCodec::alaw;
    sink->Take(header, "abc");
    header.codec = UnitCodec::aac;
    sink->Take(header, "no");
    header.codec = UnitCodec::alaw;
    sink->Take(header, "def");
    sink->Finish();
    EXPECT_EQ(Content(path), "abcdef");
    std::filesystem::remove(path);
}

TEST(MediaOutput, WhatCannotBeWrittenIsSaid) {
    EXPECT_THROW(vms::OpenMediaOutput("x.avi"), vms::HostError);
    EXPECT_THROW(vms::OpenMediaOutput("/nowhere/x.ts"), vms::HostError);
    EXPECT_THROW(vms::OpenMediaOutput("/nowhere/x.h264"), vms::HostError);
    // A transport stream has no place for JPEG.
    const std::string path = testing::TempDir() + "play_test.ts";
    const auto sink = vms::OpenMediaOutput(path);
    UnitHeader header;
    header.codec = UnitCodec::jpeg;
    header.isVideo = header.isKey = true;
    sink->Take(header, "picture");
    try {
        sink->Finish();
        FAIL() << "written";
    } catch (const vms::HostError& error) {
        EXPECT_THAT(error.what(), HasSubstr("jpeg"));
    }
    std::filesystem::remove(path);
}

TEST(TalkFile, OnlyG711IsTaken) {
    const vms::test::TemporaryFile text("no sound at all");
    EXPECT_THROW(vms::ReadTalkFile(text.Path()), vms::HostError);
    EXPECT_THROW(vms::ReadTalkFile("/nowhere.wav"), vms::HostError);
}

}  // namespace
