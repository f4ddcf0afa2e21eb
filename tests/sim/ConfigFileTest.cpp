#include "sim/onvif/ConfigFile.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

#include <gtest/gtest.h>

namespace vms::sim {
namespace {

SimulatorOptions Read(const std::string& text) {
    const std::string path = testing::TempDir() + "devsim_config_test_" +
                             testing::UnitTest::GetInstance()->current_test_info()->name();
    std::ofstream(path) << text;
    SimulatorOptions options;
    try {
        ReadConfigFile(path, CameraConfig{}, options);
    } catch (...) {
        std::remove(path.c_str());
        throw;
    }
    std::remove(path.c_str());
    return options;
}

TEST(ConfigFile, EntriesInheritAndRepeat) {
    const auto cameras = Read(R"({
        "defaults": {"user": "boss", "codec": "h265", "faults": ["noMedia"]},
        "cameras": [{"port": 7000, "count": 2, "name": "Hall", "faults": {"delay@GetProfiles": 5}},
                    {"user": "", "codec": "h264", "personality": "bare"}]})")
                             .cameras;

    ASSERT_EQ(cameras.size(), 3u);
    EXPECT_EQ(cameras[1].port, 7001);
    EXPECT_EQ(cameras[1].name, "Hall 1");
    EXPECT_EQ(cameras[1].user, "boss");
    EXPECT_TRUE(cameras[1].mainIsH265);
    EXPECT_EQ(cameras[1].faults.Describe(),
              (std::vector<std::string>{"noMedia", "delay@GetProfiles=5"}));
    EXPECT_EQ(cameras[2].user, "");
    EXPECT_FALSE(cameras[2].mainIsH265);
    EXPECT_EQ(cameras[2].personality, FindPersonality("bare"));
}

TEST(ConfigFile, RefusesWhatItDoesNotUnderstand) {
    for (const char* bad : {
             "",
             "[]",
             R"({"cameras": {}})",
             R"({"cameras": [5]})",
             R"({"cameras": [{"port": "8001"}]})",
             R"({"cameras": [{"port": 65535, "count": 2}]})",
             R"({"cameras": [{"profiles": 2001}]})",
             R"({"cameras": [{"codec": "mjpeg"}]})",
             R"({"cameras": [{"personality": "nobody"}]})",
             R"({"cameras": [{"fault": ["silent"]}]})",
             R"({"cameras": [{"faults": ["nonsense"]}]})",
             R"({"cameras": [{"faults": {"silent": []}}]})",
         })
        EXPECT_THROW(Read(bad), std::invalid_argument) << bad;
}

}  // namespace
}  // namespace vms::sim
