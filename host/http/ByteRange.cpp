#include "host/http/ByteRange.h"

#include <algorithm>
#include <charconv>

#include "host/http/HttpText.h"

namespace vms::host {
namespace {

constexpr std::string_view kUnit = "bytes=";

std::string_view Trimmed(std::string_view text) {
    const auto isBlank = [](char letter) { return letter == ' ' || letter == '\t'; };
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

/// Digits only; more than a number holds are its highest value.
std::optional<uint64_t> ReadNumber(std::string_view text) {
    if (text.empty() || !std::all_of(text.begin(), text.end(),
                                     [](char letter) { return letter >= '0' && letter <= '9'; }))
        return std::nullopt;
    uint64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() ? number : UINT64_MAX;
}

}  // namespace

std::optional<ByteRange> ReadByteRange(std::string_view header) {
    header = Trimmed(header);
    if (!SameLetters(header.substr(0, kUnit.size()), kUnit))
        return std::nullopt;
    header = Trimmed(header.substr(kUnit.size()));
    const size_t dash = header.find('-');
    if (dash == header.npos)
        return std::nullopt;
    const std::string_view before = header.substr(0, dash);
    const std::string_view after = header.substr(dash + 1);
    const auto first = ReadNumber(before.empty() ? after : before);
    if (!first)
        return std::nullopt;
    ByteRange range{*first};
    range.isSuffix = before.empty();
    if (before.empty() || after.empty())
        return range;
    range.last = ReadNumber(after);
    if (!range.last || *range.last < range.first)
        return std::nullopt;
    return range;
}

std::optional<ByteSpan> SpanOf(const ByteRange& range, uint64_t size) {
    if (range.isSuffix)
        return range.first == 0 || size == 0
                   ? std::nullopt
                   : std::optional(ByteSpan{size - std::min(range.first, size), size});
    if (range.first >= size)
        return std::nullopt;
    const uint64_t last = std::min(range.last.value_or(UINT64_MAX), size - 1);
    return ByteSpan{range.first, last + 1};
}

}  // namespace vms::host
