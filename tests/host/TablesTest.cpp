// What people read: found cameras and status reports.
#include <gtest/gtest.h>

#include "host/cli/CameraTable.h"
#include "host/cli/StatusTable.h"

namespace {

std::vector<std::string> Rows(vms::host::StatusTable& table, const std::string& body) {
    return table.Rows({"nvr", body}, "12:00:00");
}

TEST(StatusTable, MarksChangesAndCountsChannels) {
    vms::host::HostConfig config;
    config.modules.resize(1);
    config.modules[0].devices[0]["id"] = "a";
    config.modules[0].devices[0]["name"] = "Yard";
    vms::host::StatusTable table(config);
    const std::string up = R"({"devs": [{"id": "a", "status": [{"channel": -1, "state": 1},
        {"channel": 0, "state": 1}, {"channel": 1, "state": 1}]}]})";
    const std::string half = R"({"devs": [{"id": "a", "status": [{"channel": -1, "state": 1},
        {"channel": 0, "state": 0}, {"channel": 1, "state": 1}]}]})";
    EXPECT_EQ(Rows(table, up)[0], "12:00:00   online   a                    Yard");
    EXPECT_EQ(Rows(table, up)[0].substr(9, 2), "  ");
    EXPECT_EQ(Rows(table, half)[0], "12:00:00 * 1/2 up   a                    Yard");
}

TEST(StatusTable, ReportsWithoutDevicesAndThoseThatAreNone) {
    vms::host::StatusTable table{vms::host::HostConfig{}};
    EXPECT_EQ(Rows(table, R"({"devs": []})"),
              std::vector<std::string>{"12:00:00   no devices in module nvr"});
    EXPECT_TRUE(Rows(table, "").empty());
    EXPECT_TRUE(Rows(table, R"({"devs": {"id": "a"}})").empty());
    EXPECT_EQ(Rows(table, R"({"devs": [7, {"id": "b\n", "status": "x"}]})").size(), 2U);
}

TEST(CameraTable, ShowsWhatACameraToldAndCountsAddresses) {
    vms::host::CameraTable table;
    Json::Value camera(Json::objectValue);
    camera["name"] = "50%25%2";
    camera["ip"] = "10.0.0.5";
    camera["port"] = 8080;
    camera["mac"] = "00:11";
    EXPECT_EQ(table.Row(camera), "10.0.0.5:8080          50%%2                    00:11");
    camera["port"] = 80;
    table.Row(camera);
    EXPECT_EQ(table.Summary(), "2 cameras found");
}

}  // namespace
