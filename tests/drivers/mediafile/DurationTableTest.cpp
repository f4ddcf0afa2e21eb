#include "media/recording/DurationTable.h"

#include <gtest/gtest.h>

namespace vms::mediafile {
namespace {

constexpr FileVersion kFirst{1, 10};
constexpr FileVersion kSecond{2, 20};
constexpr Knowledge kVideo{Knowledge::Content::kVideo, 6000};

/// A listing of one-letter names; capitals are asked for (in version kFirst) under the small
/// letter.
RecordingListing List(const std::string& letters) {
    RecordingListing listing;
    for (const char letter : letters) {
        ListedRecording& recording = listing.emplace_back();
        recording.asked = std::isupper(letter) != 0;
        recording.name = static_cast<char>(std::tolower(letter));
        recording.version = recording.asked ? kFirst : FileVersion{};
    }
    return listing;
}

/// Does all tasks. @return "folder:name" of each
std::string Work(DurationTable& table) {
    std::string order;
    while (const auto task = table.Next()) {
        order += task->folder + ":" + task->name + " ";
        table.Store(*task, kFirst, kVideo);
    }
    return order;
}

void Enter(DurationTable& table, const std::string& folder, const std::string& letters) {
    RecordingListing listing = List(letters);
    table.Enter(folder, listing);
}

TEST(DurationTable, TakesWhatIsAskedForFirstAndTheNewestOfThat) {
    DurationTable table;
    Enter(table, "x", "aBCd");
    Enter(table, "y", "ef");
    EXPECT_EQ(Work(table), "x:c x:b y:f y:e x:d x:a ");
    // A later question goes first, without the earlier one being forgotten.
    Enter(table, "z", "GhIjk");
    Enter(table, "z", "ghIJk");
    Enter(table, "x", "lM");
    table.Hurry("z", List("ghijk"), {0});
    EXPECT_EQ(Work(table), "z:g x:m z:j z:i x:l z:k z:h ");
    Enter(table, "z", "GHIJK");
    EXPECT_EQ(Work(table), "") << "all is known";
}

TEST(DurationTable, KnowsOneVersionOfAFile) {
    DurationTable table;
    RecordingListing listing = List("AB");
    EXPECT_TRUE(table.Enter("x", listing));
    EXPECT_FALSE(table.Recall("x", listing[0]));
    Work(table);
    EXPECT_TRUE(table.Recall("x", listing[0]));
    EXPECT_EQ(listing[0].known.durationMs, 6000);
    listing = List("AB");
    listing[1].version = kSecond;
    EXPECT_TRUE(table.Enter("x", listing));
    EXPECT_EQ(listing[0].known.durationMs, 6000);
    EXPECT_EQ(listing[1].known.content, Knowledge::Content::kUnknown);
    EXPECT_EQ(Work(table), "x:b ");
}

TEST(DurationTable, ForgetsWhatHasGoneAndWhatIsTooMuch) {
    DurationTable table(6);
    Enter(table, "x", "abc");
    const auto task = table.Next();
    Enter(table, "x", "ad");
    EXPECT_EQ(table.Size(), 2U);
    table.Store(*task, kFirst, kVideo);  // of a file that has gone meanwhile
    EXPECT_EQ(Work(table), "x:d x:a ");
    Enter(table, "y", "ab");
    Enter(table, "x", "ad");
    Enter(table, "z", "abcd");
    EXPECT_EQ(table.Size(), 6U);
    RecordingListing listing = List("AD");
    EXPECT_FALSE(table.Enter("x", listing)) << "the folder that was listed longest ago has gone";
    Enter(table, "z", "abcdefgh");
    EXPECT_EQ(table.Size(), 6U);
    EXPECT_EQ(Work(table), "z:h z:g z:f z:e z:d z:c ");
    ListedRecording left = List("A").front();
    EXPECT_TRUE(table.Recall("z", left)) << "nobody waits for what is not kept";
    Enter(table, "z", "");
    EXPECT_EQ(table.Size(), 0U);
}

}  // namespace
}  // namespace vms::mediafile
