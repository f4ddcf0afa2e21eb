// What names and links may reach: nothing outside of the content folders.
#include <gtest/gtest.h>

#include "drivers/mediafile/device/DeviceFolder.h"
#include "drivers/mediafile/sources/FaceTrack.h"
#include "drivers/mediafile/sources/TalkSink.h"
#include "media/recording/ContentRoots.h"
#include "tests/drivers/mediafile/SampleMedia.h"

namespace fs = std::filesystem;

namespace vms::mediafile {
namespace {

using namespace std::string_literals;

constexpr const char* kSample = "ch0/20240502T080000Z_schedule.mp4";
constexpr const char* kName = "20240502T080000Z_schedule.mp4";

class ConfinementTest : public testing::Test {
protected:
    void SetUp() override {
        outside_.Copy(kSample, "dev/ch0/"s + kName);
        outside_.Write("dev/ch0/faces.json", R"({"faces": [{"offset": 1, "data": "aGk="}]})");
        outside_.Write("dev/ch0/face.jpg", "face");
        fs::create_directories(outside_.Path() / "talk");
        fs::create_directories(Root() / "dev" / "ch0");
    }

    const fs::path& Root() const { return root_.Path(); }
    fs::path Link(const fs::path& target, const std::string& name) const {
        const fs::path link = Root() / name;
        fs::create_directories(link.parent_path());
        fs::create_symlink(target, link);
        return link;
    }
    std::shared_ptr<const RecordingIndex> Index(const std::string& device) const {
        return std::make_shared<const RecordingIndex>(Root() / device,
                                                      std::make_shared<DurationIndex>(), roots_);
    }
    fs::path Folder(const std::string& ip, const std::string& id = "missing") const {
        __tagTvVideoParam device;
        device.id = id;
        device.ip = ip;
        return DeviceFolder(*roots_, device);
    }

    const TestFolder outside_;
    const TestFolder root_;
    const std::shared_ptr<const ContentRoots> roots_ =
        std::make_shared<const ContentRoots>(root_.Path());
};

TEST_F(ConfinementTest, RootsHoldWhatLiesBelowThemOnceLinksAreFollowed) {
    const std::string root = Root();
    Link(outside_.Path(), "out");
    Link("dev", "in");
    Link("loop", "loop");
    for (const std::string& path : {root, root + "/", root + "/dev/../dev", root + "/in/ch0",
                                    root + "/not/there", root + "/no/../dev"})
        EXPECT_TRUE(roots_->Hold(path)) << path;
    for (const std::string& path :
         {""s, "/"s, "/etc"s, root + "x", root + "/..", root + "/dev/../../etc",
          root + "/no/../../etc", root + "/out", root + "/out/dev", root + "/out/none",
          root + "/loop", root + "/dev\0"s, root + "/" + std::string(300, 'a'),
          root + "/" + std::string(100'000, '/')})
        EXPECT_FALSE(roots_->Hold(path)) << path.substr(0, 300);
    EXPECT_FALSE(ContentRoots("").Hold(root));
    EXPECT_TRUE(ContentRoots("/").Hold(root + "/out/dev"));

    // A root may be a link, or not be there yet; each one counts.
    const ContentRoots several(":" + root + "/none:" + root + "/out/");
    EXPECT_EQ(several.Folders().size(), 2U);
    EXPECT_TRUE(several.Hold(outside_.Path() / "dev"));
    EXPECT_TRUE(several.Hold(root + "/none/dev"));
    EXPECT_FALSE(several.Hold(root));
}

TEST_F(ConfinementTest, DescriptionsMeanFoldersWithinTheRoots) {
    const std::string root = Root();
    EXPECT_EQ(Folder("dev"), Root() / "dev");
    EXPECT_EQ(Folder("10.0.0.1", "dev"), Root() / "dev");
    EXPECT_EQ(Folder("10.0.0.1", "later"), Root() / "later");
    EXPECT_EQ(Folder(root + "/dev"), Root() / "dev");
    Link(outside_.Path() / "dev", "out");
    for (const std::string& name :
         {"/etc"s, "/"s, outside_.Path().string(), root + "/..", root + "/dev/../../etc",
          root + "/dev\0/../../../etc"s, "dev\0"s, "out"s, root + "/out"}) {
        EXPECT_EQ(Folder(name, "dev/.."), "") << name;
        EXPECT_EQ(Folder("", name), "") << name;
    }
    for (const std::string& name : {"../dev"s, "dev/../../etc"s, "."s, ""s}) {
        EXPECT_EQ(Folder(name, name), "") << name;
        EXPECT_EQ(Folder(name, "dev"), Root() / "dev") << "the identifier stands in";
    }
    // Nothing is decoded.
    EXPECT_EQ(Folder("", "..%2f..%2fetc"), Root() / "..%2f..%2fetc");
    EXPECT_EQ(Folder("", std::string(300, 'a')), "");
    EXPECT_EQ(Folder("/" + std::string(1'000'000, 'a')), "");

    __tagTvVideoParam device;
    device.id = "dev";
    device.ip = root + "/dev";
    EXPECT_EQ(DeviceFolder(ContentRoots(""), device), "");
    const ContentRoots both(root + ":" + outside_.Path().string());
    device.ip = "talk";
    EXPECT_EQ(DeviceFolder(both, device), outside_.Path() / "talk") << "the first that has it";
    device.ip = "out";
    EXPECT_EQ(DeviceFolder(both, device), Root() / "out") << "leads into the other root";
}

TEST_F(ConfinementTest, FoldersThatLeadOutAreNotThere) {
    // A link that comes after the device has been made.
    const auto device = Index("late");
    Link(outside_.Path() / "dev", "late");
    EXPECT_TRUE(device->Channels().empty());
    EXPECT_TRUE(device->Find(0, 0, 0, 0).empty());

    const auto mixed = Index("mixed");
    Link(outside_.Path() / "dev/ch0", "mixed/ch0");
    EXPECT_TRUE(mixed->Channels().empty()) << "nor is it a device without sub-folders";
    Link(Root() / "dev/ch0", "mixed/ch1");
    fs::create_directory(Root() / "mixed/ch2");
    ASSERT_EQ(mixed->Channels().size(), 2U);
    EXPECT_EQ(mixed->ChannelFolder(0).filename(), "ch1") << "a link within the roots";
}

TEST_F(ConfinementTest, FilesThatLeadOutAreNotRead) {
    Link(outside_.Path() / "dev/ch0" / kName, "dev/ch0/"s + kName);
    Link(outside_.Path() / "dev/ch0/faces.json", "dev/ch0/faces.json");
    const auto device = Index("dev");
    EXPECT_TRUE(device->Find(0, 0, 0, 0).empty());
    EXPECT_TRUE(device->Days(0, 0, 0, 0).empty());
    EXPECT_TRUE(ReadFaceTrack(Root() / "dev/ch0", *roots_).pictures.empty());

    root_.Write("faces/face1.jpg", "x");
    Link(outside_.Path() / "dev/ch0/face.jpg", "faces/face0.jpg");
    root_.Write("faces/faces.json", R"({"faces": [{"offset": 1, "image": "face0.jpg"},
                                                  {"offset": 2, "image": "face1.jpg"}]})");
    const FaceTrack track = ReadFaceTrack(Root() / "faces", *roots_);
    ASSERT_EQ(track.pictures.size(), 1U);
    EXPECT_EQ(track.pictures[0].offsetMs, 2000);

    root_.Copy(kSample, "store/"s + kName);
    Link(Root() / "store" / kName, "dev/ch0/20240502T090000Z_schedule.mp4");
    EXPECT_EQ(device->Find(0, 0, 0, 0).size(), 1U) << "a link within the roots";
}

TEST_F(ConfinementTest, TalksAreNotWrittenElsewhere) {
    Link(outside_.Path() / "talk", "dev/talk");
    TalkSink talk(Index("dev"));
    EXPECT_EQ(talk.StartTalk(0, 1), -1);
    EXPECT_TRUE(fs::is_empty(outside_.Path() / "talk"));
    fs::remove(Root() / "dev/talk");
    EXPECT_EQ(talk.StartTalk(0, 1), 0);
}

}  // namespace
}  // namespace vms::mediafile
