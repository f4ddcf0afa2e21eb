// Times as people write them.
#include "host/text/IsoTime.h"

#include <gtest/gtest.h>

namespace vms::host {
namespace {

TEST(IsoTimeTest, ReadsWhatPeopleWrite) {
    constexpr int64_t kTen = 1772704800;  // 2026-03-05 10:00 UTC
    for (const char* text :
         {"2026-03-05T10:00:00Z", "2026-03-05T10:00:00", "2026-03-05T10:00Z", "2026-03-05T10",
          "20260305T100000Z", "20260305T10Z", "2026-03-05 10:00:00", "2026-03-05T11:00:00+01:00",
          "2026-03-05T11:00:00 01:00", "20260305T053000-0430", "2026-03-05t10:00:00.999z",
          "2026-03-05T10:00:00,5Z", "1772704800"})
        EXPECT_EQ(ParseTime(text), kTen) << text;
    EXPECT_EQ(ParseTime("2026-03-05"), kTen - 36000);
    EXPECT_EQ(ParseTime("20260305"), kTen - 36000);
    EXPECT_EQ(ParseTime("0"), 0);
    EXPECT_EQ(ParseTime("2028-02-29"), 1835395200);
}

TEST(IsoTimeTest, RefusesEverythingElse) {
    for (const char* text : {"",
                             " ",
                             "yesterday",
                             "-1",
                             "2147483648",
                             "99999999999999999999",
                             "2026-13-01",
                             "2026-02-29",
                             "2026-03-05T",
                             "2026-03-05T24:00:00Z",
                             "2026-03-05T10:60Z",
                             "2026-0305",
                             "2026-03-05T10:00:00Zx",
                             "2026-03-05T10:00:00+",
                             "2026-03-05T10:00:00+25:00",
                             "2026-03-05Z",
                             "1969-12-31T23:59:59Z",
                             "2040-01-01",
                             "1e9",
                             "0x10",
                             "２０２６",
                             "2026-03-05T10:00:00.0000000000000000000000000000000000000001Z"})
        EXPECT_FALSE(ParseTime(text)) << text;
}

TEST(IsoTimeTest, WritesWhatItReads) {
    EXPECT_EQ(IsoTime(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(IsoTime(INT32_MAX), "2038-01-19T03:14:07Z");
    EXPECT_EQ(IsoTime(INT64_MIN), "1970-01-01T00:00:00Z");
    EXPECT_EQ(IsoTime(INT64_MAX), "9999-12-31T23:59:59Z");
    EXPECT_EQ(IsoTimeMs(1772704800007), "2026-03-05T10:00:00.007Z");
}

TEST(IsoTimeTest, MonthsHaveTheirLength) {
    const auto march = ParseMonth("2026-03");
    ASSERT_TRUE(march);
    EXPECT_EQ(IsoTime(march->begin), "2026-03-01T00:00:00Z");
    EXPECT_EQ(IsoTime(march->end), "2026-04-01T00:00:00Z");
    EXPECT_EQ(IsoTime(ParseMonth("2027-12")->end), "2028-01-01T00:00:00Z");
    for (const char* text : {"", "2026", "2026-00", "2026-13", "2026-03-05", "2040-01", "1969-12"})
        EXPECT_FALSE(ParseMonth(text)) << text;
}

}  // namespace
}  // namespace vms::host
