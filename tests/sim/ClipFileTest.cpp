#include "sim/media/ClipFile.h"

#include <gtest/gtest.h>

namespace vms::sim {
namespace {

TEST(ClipFile, ComesBackAsItWas) {
    const Clip clip{ClipKind::kH264Sub,
                    {{std::string("\0\1key", 5), true}, {"", false}, {"p", false}}};
    const auto back = UnpackClip(ClipKind::kH264Sub, PackClip(clip));
    ASSERT_TRUE(back);
    ASSERT_EQ(back->frames.size(), 3u);
    EXPECT_EQ(back->frames[0].bytes, clip.frames[0].bytes);
    EXPECT_TRUE(back->frames[0].key);
    EXPECT_EQ(back->frames[2].bytes, "p");
    EXPECT_FALSE(back->frames[2].key);
}

TEST(ClipFile, EveryCutThatSplitsAFrameIsRefused) {
    const std::string whole =
        PackClip({ClipKind::kH264Main, {{"key frame", true}, {"rest", false}}});
    const size_t afterFirst = whole.size() - 5 - 4;
    for (size_t length = 0; length < whole.size(); ++length) {
        const bool complete = length == afterFirst;
        EXPECT_EQ(UnpackClip(ClipKind::kH264Main, whole.substr(0, length)).has_value(), complete)
            << length;
    }
}

TEST(ClipFile, RefusesForeignBytes) {
    EXPECT_FALSE(UnpackClip(ClipKind::kH264Main, "something else entirely"));
    EXPECT_FALSE(UnpackClip(ClipKind::kH264Main,
                            "DSCLIP1\n\1\xff\xff\xff\xff"
                            "abc"));
    EXPECT_FALSE(UnpackClip(ClipKind::kH264Main, PackClip({ClipKind::kH264Main, {{"p", false}}})));
}

}  // namespace
}  // namespace vms::sim
