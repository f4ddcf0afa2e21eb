#include "host/process/LogSink.h"

#include <gtest/gtest.h>

namespace {

using vms::host::LogPrinting;
using vms::host::LogSink;

TEST(LogSink, KeepsPrintableLinesWithoutTheirEnds) {
    LogSink sink("test", LogPrinting::kNothing);
    sink.Log(1, "F", "port %d\r\n", 80);
    sink.Log(1, "F", "%s", "two\nlines\x1b[2J");
    sink.Log(1, nullptr, "%s\n", "");
    EXPECT_EQ(sink.Lines(), (std::vector<std::string>{"port 80", "two?lines?[2J", ""}));
}

TEST(LogSink, LinesMayBeLongButNotEndless) {
    LogSink sink("test", LogPrinting::kNothing);
    for (const size_t length : {255U, 256U, 4000U}) {
        sink.Log(1, "F", "%s", std::string(length, 'x').c_str());
        EXPECT_EQ(sink.LastLine(), std::string(length, 'x'));
    }
    sink.Log(1, "F", "%s", std::string(LogSink::kLongestLine * 2, 'x').c_str());
    EXPECT_EQ(sink.LastLine().size(), LogSink::kLongestLine);
}

TEST(LogSink, DropsWhatIsBelowItsLevelAndTheOldest) {
    LogSink sink("test", LogPrinting::kNothing);
    sink.SetLevel(2);
    sink.Log(1, "F", "event");
    EXPECT_EQ(sink.LastLine(), "");
    for (size_t i = 0; i <= LogSink::kKept; ++i)
        sink.Log(2, "F", "%zu", i);
    ASSERT_EQ(sink.Lines().size(), LogSink::kKept);
    EXPECT_EQ(sink.Lines().front(), "1");
}

TEST(LogSink, MasksBeforeControlCharactersAreReplaced) {
    LogSink sink("test", LogPrinting::kNothing);
    sink.Log(1, "F", "%s", "Cookie: id=1\r\nAccept: */*");
    EXPECT_EQ(sink.LastLine(), "Cookie: ***??Accept: */*");
    const std::string cut = std::string(LogSink::kLongestLine - 20, 'x') + R"({"password": ")";
    sink.Log(1, "F", "%s%s", cut.c_str(), std::string(100, 'p').c_str());
    EXPECT_EQ(sink.LastLine(), cut + "***");
}

}  // namespace
