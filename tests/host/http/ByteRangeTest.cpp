// Which bytes a Range header wants.
#include "host/http/ByteRange.h"

#include <gtest/gtest.h>

namespace {

using vms::host::ByteSpan;
using vms::host::ReadByteRange;
using vms::host::SpanOf;

std::optional<ByteSpan> Of(std::string_view header, uint64_t size) {
    const auto range = ReadByteRange(header);
    return range ? SpanOf(*range, size) : std::nullopt;
}

TEST(ByteRange, TellsThePartOfABody) {
    EXPECT_EQ(Of("bytes=0-", 10), (ByteSpan{0, 10}));
    EXPECT_EQ(Of("bytes=3-5", 10), (ByteSpan{3, 6}));
    EXPECT_EQ(Of("Bytes= 3-99 ", 10), (ByteSpan{3, 10}));
    EXPECT_EQ(Of("bytes=-4", 10), (ByteSpan{6, 10}));
    EXPECT_EQ(Of("bytes=-40", 10), (ByteSpan{0, 10}));
    EXPECT_EQ(Of("bytes=9-99999999999999999999", 10), (ByteSpan{9, 10}));
    EXPECT_EQ(Of("bytes=10-", 10), std::nullopt);
    EXPECT_EQ(Of("bytes=99999999999999999999-", 10), std::nullopt);
    EXPECT_EQ(Of("bytes=-0", 10), std::nullopt);
    EXPECT_EQ(Of("bytes=0-", 0), std::nullopt);
}

TEST(ByteRange, WhatIsNoneIsNotLookedAt) {
    for (const char* header :
         {"", "bytes", "bytes=", "bytes=-", "bytes=5-4", "bytes=1", "bytes=a-b", "bytes=1-2,4-5",
          "lines=1-2", "bytes=+1-2", "bytes=1--2", "bytes=1 - 2"})
        EXPECT_EQ(ReadByteRange(header), std::nullopt) << header;
}

}  // namespace
