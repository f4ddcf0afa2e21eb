// Searches for recordings by plain names and ISO times.
#include "host/api/RecordApi.h"

#include <gmock/gmock-matchers.h>

#include "tests/host/api/ApiFixture.h"

namespace vms::host {
namespace {

using test::BusModule;

class RecordApiTest : public test::ApiFixture {
protected:
    RecordApiTest() { StartApi(); }

    void AnswerWith(const std::string& body, int result = 1) {
        module_.SetAnswer([body, result](const BusModule::Asked&) {
            return BusModule::Reply{.result = result, .body = body};
        });
    }
};

TEST_F(RecordApiTest, ASearchGoesOutInSecondsAndComesBackInPages) {
    std::string records;
    for (int i = 0; i < 2500; ++i) {
        records += (i == 0 ? "" : ",") + std::string(R"({"startTime":)") +
                   std::to_string(1772697600 + i * 60) + R"(,"endTime":)" +
                   std::to_string(1772697600 + i * 60 + 60) +
                   R"(,"fileType":18,"fileSize":5,"index":0})";
    }
    AnswerWith(R"({"records": [)" + records + "]}");
    const std::string search =
        "/api/records?device=cam&channel=3&from=2026-03-05T09:00:00%2B01:00&to=1772784000"
        "&type=motion,alarm&stream=1";
    const Got first = Ask("GET", search);
    ASSERT_EQ(first.status, 200) << first.Error();
    EXPECT_EQ(module_.All().back().body,
              R"({"channel":3,"endTime":1772784000,"fileType":18,"id":"cam",)"
              R"("startTime":1772697600,"streamNo":1})");
    EXPECT_EQ(first.body["total"], 2500);
    EXPECT_EQ(first.body["records"].size(), 1000U);
    EXPECT_EQ(first.body["records"][1]["from"], "2026-03-05T08:01:00Z");
    EXPECT_EQ(first.body["records"][1]["types"][1], "alarm");
    const Got last = Ask("GET", search + "&limit=700&offset=" + first.body["next"].asString());
    EXPECT_EQ(last.body["next"], 1700);
    const Got beyond = Ask("GET", search + "&offset=2147483647");
    EXPECT_TRUE(beyond.body["records"].empty());
    EXPECT_FALSE(beyond.body.isMember("next"));
}

TEST_F(RecordApiTest, DaysOfAMonth) {
    AnswerWith("[20260228, 20260301, 20260331, 20260401, -5, \"x\"]");
    const Got days = Ask("GET", "/api/record-days?device=cam&month=2026-03");
    ASSERT_EQ(days.status, 200);
    ASSERT_EQ(days.body["days"].size(), 2U);
    EXPECT_EQ(days.body["days"][1], "2026-03-31");
    EXPECT_THAT(module_.All().back().body,
                testing::HasSubstr(R"("endTime":1775001600,"fileType":0)"));
}

TEST_F(RecordApiTest, WhatCannotBeSearched) {
    const std::string range = "&from=2026-03-05&to=2026-03-06";
    for (const char* const query :
         {"?device=cam&from=2026-03-05", "?device=cam&from=2026-03-06&to=2026-03-05",
          "?device=cam&from=yesterday&to=2026-03-05", "?device=cam&from=2026-02-30&to=2026-03-05",
          "?device=cam&from=-5&to=99999999999", "?device=&from=1&to=2", "?from=1&to=2"})
        EXPECT_EQ(Ask("GET", std::string("/api/records") + query).status, 400) << query;
    for (const char* more : {"&channel=x", "&channel=-1", "&limit=0", "&limit=99999999999",
                             "&type=smoke", "&type=motion,", "&stream=9"})
        EXPECT_EQ(Ask("GET", "/api/records?device=cam" + range + more).status, 400) << more;
    EXPECT_EQ(Ask("GET", "/api/record-days?device=cam&month=2026-13").status, 400);
    EXPECT_EQ(Ask("GET", "/api/records?device=none" + range).status, 404);
    EXPECT_TRUE(module_.All().empty());

    AnswerWith("search recored error", -1);
    const Got failed = Ask("GET", "/api/records?device=cam" + range);
    EXPECT_EQ(failed.status, 502);
    EXPECT_EQ(failed.Error(), "the recordings could not be searched");
    for (const char* nonsense : {"", "[]", R"({"records": 5})", "[[[["}) {
        AnswerWith(nonsense);
        EXPECT_EQ(Ask("GET", "/api/records?device=cam" + range).status, 502) << nonsense;
    }
}

}  // namespace
}  // namespace vms::host
