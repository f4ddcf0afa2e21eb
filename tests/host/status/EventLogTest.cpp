// What has happened, in order, beyond the end of the process and within its bounds.
#include "host/status/EventLog.h"

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "host/process/LogSink.h"
#include "host/status/StatusBoard.h"
#include "module/CommandRecord.h"
#include "platform/CommandPtr.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/Json.h"
#include "platform/SysCommandHelper.h"
#include "tests/host/TemporaryFolder.h"
#include "tests/host/http/HttpServerFixture.h"
#include "tests/support/Gate.h"

namespace vms::host {
namespace {

using test::Eventually;
using testing::HasSubstr;
using vms::test::Gate;

std::atomic<int64_t> theTime{1'000'000};

int64_t TestTime() {
    return theTime;
}

class EventLogTest : public testing::Test {
protected:
    void Open(const EventLimits& limits = {}) {
        Close();
        database_ = std::make_unique<Database>(&folder_);
        events_ = std::make_unique<EventLog>(*database_, log_, limits, &TestTime);
    }

    void Close() {
        events_.reset();
        database_.reset();
    }

    /// Holds the writer until the gate opens.
    void HoldWriter(Gate& gate) {
        std::atomic<bool> held{false};
        database_->Post(
            [&](SqlConnection&) {
                held = true;
                EXPECT_TRUE(gate.Wait());
            },
            [](const std::string&) {});
        EXPECT_TRUE(Eventually([&] { return held.load(); }));
    }

    bool WaitFor(int64_t id) const {
        return Eventually([&] { return events_->Last() >= id; });
    }

    std::vector<int64_t> Ids(const EventQuery& query = {}) const {
        std::vector<int64_t> ids;
        for (const LoggedEvent& event : events_->Find(query))
            ids.push_back(event.id);
        return ids;
    }

    const test::TemporaryFolder place_;
    const StateFolder folder_{place_.Path() + "/state"};
    LogSink log_{"test", LogPrinting::kNothing};
    std::unique_ptr<Database> database_;
    std::unique_ptr<EventLog> events_;
};

TEST_F(EventLogTest, GoesOnWhereItWas) {
    Open();
    HostEvent event{"face", "cam", 3, Json::Value(Json::objectValue)};
    event.data["name"] = "Tür\n\nid: 9";
    events_->Append(event);
    events_->Append({"device-up", "cam", -1, {}});
    ASSERT_TRUE(WaitFor(2));
    Open();
    EXPECT_EQ(events_->Last(), 2);
    events_->Append({"device-down", "cam", -1, {}});
    ASSERT_TRUE(WaitFor(3));
    const EventLog::Batch all = events_->After(0, 10);
    ASSERT_EQ(all.size(), 3U) << "those before are read from the state";
    EXPECT_EQ(all[0]->stream,
              "id: 1\nevent: face\ndata: {\"channel\":3,\"data\":{\"name\":\"T\\u00fcr\\n\\nid: "
              "9\"},\"device\":\"cam\",\"id\":1,\"time\":\"1970-01-01T00:16:40.000Z\",\"type\":"
              "\"face\"}\n\n");
    EXPECT_EQ(events_->After(2, 10).size(), 1U);
    EXPECT_TRUE(events_->After(3, 10).empty());
    EXPECT_TRUE(events_->After(99, 10).empty());
}

TEST_F(EventLogTest, FindsByTimeTypeAndDevice) {
    Open();
    for (int i = 0; i < 6; ++i) {
        theTime = 1'000'000 + i * 1000;
        events_->Append({i % 2 == 0 ? "a" : "b", i < 3 ? "one" : "other", -1, {}});
    }
    ASSERT_TRUE(WaitFor(6));
    EXPECT_EQ(Ids({.type = "a"}), (std::vector<int64_t>{5, 3, 1}));
    EXPECT_EQ(Ids({.type = "a", .device = "other"}), (std::vector<int64_t>{5}));
    EXPECT_EQ(Ids({.from = 1'001'000, .to = 1'003'000}), (std::vector<int64_t>{3, 2}));
    EXPECT_EQ(Ids({.before = 5, .most = 2}), (std::vector<int64_t>{4, 3}));
    EXPECT_TRUE(Ids({.device = "x' OR '1'='1"}).empty());
}

TEST_F(EventLogTest, KeepsAsManyAndAsLongAsItMay) {
    theTime = 1'000'000;
    Open({.kept = 5, .age = std::chrono::hours(1), .inMemory = 2});
    for (int i = 0; i < 8; ++i)
        events_->Append({"a", "", -1, {}});
    ASSERT_TRUE(WaitFor(8));
    EXPECT_EQ(Ids().back(), 4);
    EXPECT_EQ(events_->After(0, 10).front()->event.id, 4) << "what is left";
    theTime = 1'000'000 + 2 * 3'600'000;
    events_->Append({"b", "", -1, {}});
    ASSERT_TRUE(WaitFor(9));
    EXPECT_EQ(Ids(), (std::vector<int64_t>{9}));
    theTime = 1'000'000 + 4 * 3'600'000;
    Open({.kept = 5, .age = std::chrono::hours(1)});
    EXPECT_EQ(events_->Last(), 9) << "no number is given twice";
}

TEST_F(EventLogTest, CountsWhatComesTooFast) {
    Gate gate;
    Open({.waiting = 3});
    HoldWriter(gate);
    for (int i = 0; i < 10; ++i)
        events_->Append({"a", "", -1, {}});
    EXPECT_EQ(events_->Last(), 0) << "nothing is shown that is not on the disk";
    gate.Open();
    ASSERT_TRUE(Eventually([&] { return events_->Last() >= 4; }));
    events_->Append({"a", "", -1, {}});
    ASSERT_TRUE(Eventually([&] { return !events_->Find({.type = "events-lost"}).empty(); }));
    const LoggedEvent loss = events_->Find({.type = "events-lost"})[0];
    EXPECT_EQ(loss.data, "{\"count\":6}");
}

TEST_F(EventLogTest, ShowsWhatCannotBeKept) {
    Open();
    database_->WriteNow([](SqlConnection& sql) {
        sql.RunScript(
            "CREATE TRIGGER no_more BEFORE INSERT ON events "
            "BEGIN SELECT RAISE(ABORT, 'disk full'); END;");
    });
    events_->Append({"a", "", -1, {}});
    events_->Append({"a", "", -1, {}});
    ASSERT_TRUE(WaitFor(2));
    EXPECT_EQ(events_->After(0, 10).size(), 2U);
    EXPECT_TRUE(Ids().empty());
    EXPECT_THAT(log_.LastLine(), HasSubstr("disk full"));
}

TEST_F(EventLogTest, TextsCannotLeaveTheirPlace) {
    Open({.dataBytes = 100});
    HostEvent event{"a\nid: 5\n\n", std::string(1000, 'd'), -1, Json::Value(Json::objectValue)};
    event.data["long"] = std::string(200, 'x');
    events_->Append(event);
    ASSERT_TRUE(WaitFor(1));
    const LoggedEvent kept = events_->Find({})[0];
    EXPECT_EQ(kept.type, "a-id--5--");
    EXPECT_EQ(kept.device.size(), 256U);
    EXPECT_EQ(kept.data, "");
}

/// What a module says of its devices.
void Report(const std::string& body) {
    const CommandPtr report(
        SysCommandHelper::CreateRequestCommand(TV_CMD_DEVICE_STATUS, "m", "", body.c_str(), ""));
    CreateCommandBusInstance()->SendRequest(report.get());
}

std::string State(int device, int channel) {
    return R"({"devs": [{"id": "cam", "status": [{"channel": -1, "state": )" +
           std::to_string(device) + R"(}, {"channel": 0, "state": )" + std::to_string(channel) +
           "}]}]}";
}

TEST_F(EventLogTest, ChangesOfDevicesAreEvents) {
    Open();
    const StatusBoard board(*CreateCommandBusInstance(), events_.get());
    for (const std::string& report :
         {State(1, 1), State(1, 1), State(1, 0), State(0, 0), std::string(R"({"devs": [5, {}]})"),
          State(0, 0), State(1, 1)})
        Report(report);
    ASSERT_TRUE(WaitFor(4));
    std::string types;
    for (const auto& event : events_->After(0, 10))
        types += event->event.type + " ";
    EXPECT_EQ(types, "status device-down device-down device-up ")
        << "a device that is up at first is no news, one that is down is";
    const Json::Value snapshot = board.Snapshot();
    EXPECT_EQ(snapshot["modules"][0]["devs"][0]["id"], "cam") << "as modules have it";
    EXPECT_EQ(snapshot["devices"][0]["device"], "cam");
    EXPECT_EQ(snapshot["devices"][0]["state"], "up");
    EXPECT_EQ(snapshot["devices"][0]["channels"][0]["state"], "up");
}

}  // namespace
}  // namespace vms::host
