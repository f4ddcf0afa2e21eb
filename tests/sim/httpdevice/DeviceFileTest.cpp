#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <gtest/gtest.h>
#include <unistd.h>

#include "sim/httpdevice/DeviceConfigFile.h"
#include "sim/httpdevice/media/ActionRequest.h"

namespace vms::sim::httpdevice {
namespace {

std::vector<DeviceConfig> Read(const std::string& text) {
    const auto path =
        std::filesystem::temp_directory_path() / ("devices." + std::to_string(getpid()) + ".json");
    std::ofstream(path) << text;
    std::vector<DeviceConfig> devices;
    try {
        devices = ReadDeviceFile(path, DeviceConfig());
    } catch (...) {
        std::filesystem::remove(path);
        throw;
    }
    std::filesystem::remove(path);
    return devices;
}

TEST(DeviceFile, DefaultsCountsAndFaultsAdd) {
    auto devices = Read(R"({"defaults": {"password": "p", "faults": ["silent@login"]},
        "devices": [{"kind": "NVR", "channels": 8, "port": 9000, "count": 2, "audio": "aac"},
                    {"login": "quorix", "platform": "V1", "faults": ["delay=5"]}]})");
    ASSERT_EQ(devices.size(), 3u);
    EXPECT_TRUE(devices[1].recorder);
    EXPECT_EQ(devices[1].port, 9001);
    EXPECT_EQ(devices[1].audio, AudioCodec::kAac);
    EXPECT_EQ(devices[2].password, "p");
    EXPECT_EQ(devices[2].login, LoginFamily::kQuorix);
    EXPECT_FALSE(devices[2].version6);
    AssignDeviceFault("1-2:halfOpen", devices);
    FaultBoard board;
    for (const DeviceFaultRule& rule : devices[2].faults)
        board.Add(rule);
    EXPECT_EQ(board.Describe(), (std::vector<std::string>{"silent@login", "delay=5", "halfOpen"}));
    EXPECT_EQ(devices[0].faults.size(), 1u);
}

TEST(DeviceFile, RefusesWhatItCannotMean) {
    for (const char* bad :
         {R"({"devices": {}})", R"({"devices": [7]})", R"({"devices": [{"prot": 1}]})",
          R"({"devices": [{"kind": "TV"}]})", R"({"devices": [{"port": 65536}]})",
          R"({"devices": [{"port": 65535, "count": 2}]})", R"({"devices": [{"audio": "mp3"}]})",
          R"({"devices": [{"faults": ["delay=x"]}]})", R"({"devices": [{"faults": [1]}]})",
          R"({"devices": [{"channels": 0}]})", "{", ""})
        EXPECT_THROW(Read(bad), std::invalid_argument) << bad;
    std::vector<DeviceConfig> devices(2);
    for (const char* bad : {"2:silent", "1-0:silent", "x:silent", "silent", "0:silent=3", "0:"})
        EXPECT_THROW(AssignDeviceFault(bad, devices), std::invalid_argument) << bad;
}

TEST(FaultBoard, EndpointRulesWinAndCountsRunOut) {
    FaultBoard board;
    board.Add(ParseDeviceFault("delay=1"));
    board.Add(ParseDeviceFault("delay@login=2"));
    board.Add(ParseDeviceFault("eventsDrop=2"));
    EXPECT_EQ(board.Find(DeviceFault::kDelay, "login"), 2);
    EXPECT_EQ(board.Find(DeviceFault::kDelay, "logout"), 1);
    EXPECT_TRUE(board.TakeOne(DeviceFault::kEventsDrop));
    EXPECT_TRUE(board.TakeOne(DeviceFault::kEventsDrop));
    EXPECT_FALSE(board.TakeOne(DeviceFault::kEventsDrop));
    board.Remove(ParseDeviceFault("delay"));
    EXPECT_EQ(board.Find(DeviceFault::kDelay, "logout"), std::nullopt);
    EXPECT_EQ(board.Find(DeviceFault::kDelay, "login"), 2);
}

TEST(ActionRequest, TextsThatAreNoRequestHaveNoAction) {
    for (const char* bad : {"", "[]", "7", "{\"action\":5}", "{\"action\":\"play\"} x", "\xff"})
        EXPECT_EQ(ReadAction(bad).action, "") << bad;
    const ActionRequest request =
        ReadAction("{\"action\":\"play\",\"data\":{\"sessionID\":\"sid=ab=c\",\"channel\":2}}\n");
    EXPECT_EQ(request.action, "play");
    EXPECT_EQ(request.token, "ab=c");
    EXPECT_EQ(ReadAction("{\"action\":\"play\",\"data\":[1]}").token, "");
}

}  // namespace
}  // namespace vms::sim::httpdevice
