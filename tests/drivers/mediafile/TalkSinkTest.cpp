#include "drivers/mediafile/sources/TalkSink.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/drivers/mediafile/SampleMedia.h"

namespace vms::mediafile {
namespace {

std::vector<std::filesystem::path> Talks(const TestFolder& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path() / "talk"))
        files.push_back(entry.path());
    return files;
}

TEST(TalkSink, KeepsWhatIsSaidAsWav) {
    const TestFolder folder;
    TalkSink talk(folder.Index());
    talk.SendTalkData("early", 5);
    ASSERT_EQ(talk.StartTalk(0, 2), 0);
    EXPECT_EQ(talk.StartTalk(0, 2), -1) << "already running";
    talk.SendTalkData("hello", 5);
    talk.SendTalkData(nullptr, 5);
    talk.SendTalkData("?", 0);
    talk.SendTalkData("you", 3);
    talk.SendTalkData("!", 1);
    talk.StopTalk();
    talk.SendTalkData("late", 4);
    talk.StopTalk();

    ASSERT_EQ(Talks(folder).size(), 1U);
    const std::string expected =
        std::string(
            "RIFF\x3c\0\0\0WAVEfmt \x12\0\0\0\x07\0\1\0\x40\x1f\0\0\x40\x1f\0\0\1\0\x08\0\0\0",
            38) +
        std::string("fact\4\0\0\0\x09\0\0\0data\x09\0\0\0helloyou!\0", 30);
    EXPECT_EQ(ReadBytes(Talks(folder).front()), expected);
}

TEST(TalkSink, GivesEveryTalkAFileAndRefusesOthers) {
    const TestFolder folder;
    {
        TalkSink first(folder.Index());
        TalkSink second(folder.Index());
        EXPECT_EQ(first.StartTalk(0, 1), 0);
        EXPECT_EQ(second.StartTalk(0, 0), 0);
        TalkSink third(folder.Index());
        EXPECT_EQ(third.StartTalk(0, 3), -1);
        EXPECT_EQ(third.StartTalk(0, -1), -1);
        EXPECT_EQ(third.StartTalk(1, 1), -1);
    }
    ASSERT_EQ(Talks(folder).size(), 2U);
    EXPECT_EQ(ReadBytes(Talks(folder).front()).substr(20, 2), std::string("\x06\0", 2));
    EXPECT_EQ(folder.Index()->Channels().size(), 1U) << "talks are no channel";
}

TEST(TalkSink, FailsWhereItCannotWrite) {
    const TestFolder folder;
    folder.Write("talk", "a file in the way");
    TalkSink talk(folder.Index());
    EXPECT_EQ(talk.StartTalk(0, 1), -1);
    talk.SendTalkData("x", 1);
}

}  // namespace
}  // namespace vms::mediafile
