// The parts of the player client that need no server.
#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "host/play/MediaOutput.h"
#include "host/play/PlayCommand.h"
#include "host/play/PlayStatistics.h"
#include "host/play/StreamUrl.h"
#include "host/play/TalkFile.h"
#include "host/text/HostError.h"
#include "tests/host/TemporaryFile.h"

namespace {

using testing::HasSubstr;
using vms::MediaCodec;
using vms::MediaUnitHeader;
using vms::host::PlayCommand;

MediaUnitHeader Header(MediaCodec codec) {
    MediaUnitHeader header;
    const bool isSound = codec == MediaCodec::kALaw || codec == MediaCodec::kAac;
    header.type = isSound ? vms::MediaType::kAudio : vms::MediaType::kVideo;
    header.frameType = isSound ? 0 : 1;
    header.codec = codec == MediaCodec::kALaw   ? 1
                   : codec == MediaCodec::kAac  ? 0x15
                   : codec == MediaCodec::kJpeg ? 0x1a
                                                : 0x60;
    return header;
}

TEST(StreamUrl, HostPortAndPathAreTakenApart) {
    const vms::host::StreamUrl plain =
        vms::host::ParseStreamUrl("ws://cam.example:8080/stream?token=a");
    EXPECT_EQ(plain.host + "|" + std::to_string(plain.port) + "|" + plain.path,
              "cam.example|8080|/stream?token=a");
    EXPECT_FALSE(plain.secure);
    const vms::host::StreamUrl six = vms::host::ParseStreamUrl("wss://[::1]");
    EXPECT_EQ(six.host + "|" + std::to_string(six.port) + "|" + six.path, "::1|443|/stream");
    EXPECT_TRUE(six.secure);
    for (const char* bad :
         {"http://x/", "ws://", "ws://:80/", "ws://h:0/", "ws://h:99999/", "ws://h:8x/", "ws:/h"})
        EXPECT_THROW(vms::host::ParseStreamUrl(bad), vms::host::HostError) << bad;
}

TEST(PlayCommand, EachLineIsOneCommandOrNone) {
    EXPECT_EQ(vms::host::ParsePlayCommand(" seek\t1700000000 \r")->argument, "1700000000");
    EXPECT_EQ(vms::host::ParsePlayCommand("talk my file.wav")->argument, "my file.wav");
    EXPECT_EQ(vms::host::ParsePlayCommand("pause")->kind, PlayCommand::Kind::kPause);
    for (const char* none : {"", "seek", "pause 3", "Pause", "stop"})
        EXPECT_FALSE(vms::host::ParsePlayCommand(none)) << none;
}

TEST(TalkUnit, SaysItsLength) {
    const std::string unit = vms::host::TalkUnit(std::string(320, 'x'));
    uint32_t word = 0;
    std::memcpy(&word, &unit[4], sizeof word);
    EXPECT_EQ(word, 2U | (320U << 7));
    EXPECT_EQ(unit.substr(32), std::string(320, 'x'));
}

vms::host::PlayStatistics::Clock::time_point theTime;

TEST(PlayStatistics, LostUnitsAreCountedAfterTheJoin) {
    vms::host::PlayStatistics statistics([] { return theTime; });
    MediaUnitHeader header = Header(MediaCodec::kH264);
    for (const uint32_t serial : {5U, 9U, 12U, 13U, 16U}) {
        header.serial = serial;
        header.frameType = serial < 12 ? 1 : 2;
        statistics.Count(header, 100);
        theTime += std::chrono::milliseconds(400);
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

/// A file of its own folder, which begins with something in it.
class MediaOutputTest : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directory(folder_);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string Make(const std::string& name, const std::string& content = "old") const {
        std::ofstream(folder_ / name) << content;
        return folder_ / name;
    }
    using NameSet = std::set<std::string>;

    NameSet Names() const {
        NameSet names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_))
            names.insert(entry.path().filename());
        return names;
    }

    const std::filesystem::path folder_ =
        testing::TempDir() + "media_output_" + std::to_string(getpid());
};

TEST_F(MediaOutputTest, AFileIsReplacedAsAWholeAtTheEnd) {
    const std::string path = Make("a.alaw");
    std::filesystem::permissions(path, std::filesystem::perms(0640));
    std::filesystem::create_symlink("a.alaw", folder_ / "link.alaw");
    const auto sink = vms::host::OpenMediaOutput(folder_ / "link.alaw");
    EXPECT_EQ(Names().size(), 2U) << "nothing before the first unit";
    sink->Take(Header(MediaCodec::kALaw), "abc");
    sink->Take(Header(MediaCodec::kAac), "no");
    EXPECT_EQ(Content(path), "old");
    sink->Take(Header(MediaCodec::kALaw), "def");
    sink->Finish();
    EXPECT_EQ(Content(path), "abcdef");
    EXPECT_EQ(Names(), (NameSet{"a.alaw", "link.alaw"}));
    EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "link.alaw"));
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0640));
}

TEST_F(MediaOutputTest, WhatDoesNotComeReplacesNothing) {
    const std::string path = Make("a.alaw");
    vms::host::OpenMediaOutput(path)->Finish();
    {
        const auto sink = vms::host::OpenMediaOutput(path);
        sink->Take(Header(MediaCodec::kAac), "none of its kind");
        sink->Finish();
    }
    {
        const auto broken = vms::host::OpenMediaOutput(path);
        broken->Take(Header(MediaCodec::kAac), "never finished");
    }
    EXPECT_EQ(Content(path), "old");
    EXPECT_EQ(Names(), NameSet{"a.alaw"});
}

TEST_F(MediaOutputTest, WhatCannotBeWrittenIsSaid) {
    EXPECT_THROW(vms::host::OpenMediaOutput("x.avi"), vms::host::HostError);
    EXPECT_THROW(vms::host::OpenMediaOutput("x.ts", "avi"), vms::host::HostError);
    EXPECT_THROW(vms::host::OpenMediaOutput("/nowhere/x.ts"), vms::host::HostError);
    EXPECT_THROW(vms::host::OpenMediaOutput("/nowhere/x.h264"), vms::host::HostError);
    EXPECT_THROW(vms::host::OpenMediaOutput(folder_, "ts"), vms::host::HostError);
    // A transport stream has no place for JPEG.
    const std::string path = Make("a.ts");
    {
        const auto sink = vms::host::OpenMediaOutput(path);
        sink->Take(Header(MediaCodec::kJpeg), "picture");
        try {
            sink->Finish();
            FAIL() << "written";
        } catch (const vms::host::HostError& error) {
            EXPECT_THAT(error.what(), HasSubstr("jpeg"));
        }
    }
    EXPECT_EQ(Content(path), "old");
    EXPECT_EQ(Names(), NameSet{"a.ts"});
    const auto full = vms::host::OpenMediaOutput("/dev/full", "alaw");
    EXPECT_THROW(full->Take(Header(MediaCodec::kALaw), "abc"), vms::host::HostError);
    EXPECT_THROW(full->Finish(), vms::host::HostError);
}

TEST_F(MediaOutputTest, WhatHasComeIsLeftWhenItsPlaceIsLost) {
    const auto sink = vms::host::OpenMediaOutput(folder_ / "a.alaw");
    sink->Take(Header(MediaCodec::kALaw), "abc");
    std::filesystem::create_directory(folder_ / "a.alaw");
    try {
        sink->Finish();
        FAIL() << "kept";
    } catch (const vms::host::HostError& error) {
        const std::string text = error.what();
        const size_t at = text.find("what has come is in ");
        ASSERT_NE(at, std::string::npos) << text;
        EXPECT_EQ(Content(text.substr(at + 20)), "abc");
    }
}

TEST(TalkFile, OnlyG711IsTaken) {
    const vms::host::test::TemporaryFile text("no sound at all");
    EXPECT_THROW(vms::host::ReadTalkFile(text.Path()), vms::host::HostError);
    EXPECT_THROW(vms::host::ReadTalkFile("/nowhere.wav"), vms::host::HostError);
}

}  // namespace
