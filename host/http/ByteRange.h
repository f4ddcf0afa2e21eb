#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vms::host {

/// What a request wants of a body (RFC 9110, 14.1.2): "bytes=100-", "bytes=100-199" or
/// "bytes=-100".
struct ByteRange {
    uint64_t first = 0;
    std::optional<uint64_t> last{};  ///< the last byte; unset = up to the end
    bool isSuffix = false;           ///< the last `first` bytes instead

    bool operator==(const ByteRange&) const = default;
};

/// Bytes from `begin` up to, not including, `end`.
struct ByteSpan {
    uint64_t begin = 0;
    uint64_t end = 0;

    bool operator==(const ByteSpan&) const = default;
};

/// Reads a Range header. Re-entrant. @return nothing for what is none, names several ranges or
/// another unit: the whole body is then what is wanted
std::optional<ByteRange> ReadByteRange(std::string_view header);

/// The bytes that a body of so many has of it. @return nothing = none, which is a 416
std::optional<ByteSpan> SpanOf(const ByteRange& range, uint64_t size);

}  // namespace vms::host
