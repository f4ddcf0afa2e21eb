#include "drivers/mediafile/sources/FaceSource.h"

#include <gtest/gtest.h>

#include "tests/drivers/mediafile/SampleMedia.h"
#include "tests/drivers/mediafile/UnitRecorder.h"

namespace vms::mediafile {
namespace {

const ContentRoots kEverywhere("/");

TEST(FaceTrack, ReadsFilesAndInlinePictures) {
    const FaceTrack track = ReadFaceTrack(SampleFolder() / "ch0", kEverywhere);
    ASSERT_EQ(track.pictures.size(), 2U);
    EXPECT_EQ(track.periodMs, 4000);
    EXPECT_EQ(track.pictures[0].offsetMs, 500);
    for (const FacePicture& picture : track.pictures)
        EXPECT_EQ(std::string(picture.jpeg.begin(), picture.jpeg.begin() + 2), "\xff\xd8");
}

TEST(FaceTrack, SkipsWhatItCannotUse) {
    const TestFolder folder;
    folder.Write("secret.jpg", "outside");
    folder.Write("ch0/in.jpg", "inside");
    folder.Write("ch0/faces.json", R"({"period": 1, "faces": [
        {"offset": 3, "image": "in.jpg"}, {"offset": 1, "data": "aGk="},
        {"offset": 1, "image": "../secret.jpg"}, {"offset": 1, "image": ".."},
        {"offset": -1, "image": "in.jpg"}, {"offset": 1e99, "image": "in.jpg"},
        {"offset": "1", "image": "in.jpg"}, {"offset": 1, "data": "***"},
        {"offset": 1, "image": "missing.jpg"}, {"image": "in.jpg"}, 7]})");
    const FaceTrack track = ReadFaceTrack(folder.Path() / "ch0", kEverywhere);
    ASSERT_EQ(track.pictures.size(), 2U);
    EXPECT_EQ(std::string(track.pictures[0].jpeg.begin(), track.pictures[0].jpeg.end()), "hi");
    EXPECT_EQ(track.pictures[1].offsetMs, 3000);
    EXPECT_GT(track.periodMs, 3000) << "longer than the last offset";
    for (const char* text : {"", "[]", "{", "{\"faces\": {}}", "null"}) {
        folder.Write("ch0/faces.json", text);
        EXPECT_TRUE(ReadFaceTrack(folder.Path() / "ch0", kEverywhere).pictures.empty()) << text;
    }
}

TEST(FaceSource, ShowsFacesRoundAfterRound) {
    const TestFolder folder;
    folder.Write("ch0/faces.json",
                 R"({"period": 0.1, "faces": [{"offset": 0.05, "data": "aGVsbG8="}]})");
    UnitRecorder sink;
    FaceSource source(folder.Index(), std::make_shared<SourceRegistry>());
    ASSERT_EQ(source.StartFaceFrame("key", 0, &sink), 0);
    EXPECT_EQ(source.StartFaceFrame("key", 0, &sink), -1);
    EXPECT_EQ(source.GetStreamUri(), "key");
    ASSERT_TRUE(sink.WaitCount(2));
    source.StopFaceFrame("key");
    ASSERT_TRUE(Eventually([&] { return source.GetCloseGetStreamStatus(); }));
    const Unit second = sink.All()[1];
    EXPECT_EQ(second.type, 3U);
    EXPECT_EQ(second.frameType, 4U);
    EXPECT_EQ(second.length, 5U);
    EXPECT_EQ(second.payload, "hello");
    EXPECT_EQ(second.timestamp, 50U + 1050U);
    EXPECT_TRUE(sink.Messages().empty());
}

TEST(FaceSource, RefusesAChannelWithoutFaces) {
    UnitRecorder sink;
    const auto registry = std::make_shared<SourceRegistry>();
    EXPECT_EQ(FaceSource(SampleIndex(), registry).StartFaceFrame("k", 1, &sink), -1);
    EXPECT_EQ(FaceSource(SampleIndex(), registry).StartFaceFrame("k", 9, &sink), -1);
}

}  // namespace
}  // namespace vms::mediafile
