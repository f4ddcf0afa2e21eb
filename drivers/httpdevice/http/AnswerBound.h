#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace vms::httpdevice {

/// What an answer of a device may cost: bytes while it is read, JSON values before it is parsed,
/// since a value takes many times the memory of the two or three bytes that it stands in.
struct AnswerBound {
    size_t bytes = 0;
    size_t values = 0;

    bool Takes(std::string_view json) const;
};

/// For answers of a session and texts on a link: small enough to be parsed on a shared thread.
inline constexpr AnswerBound kShortAnswer{size_t{64} << 10, 1000};
/// For answers to commands: a page of 4,000 recordings has a quarter of that.
inline constexpr AnswerBound kLongAnswer{size_t{2} << 20, 100'000};

/// Items that a list in one answer may have.
inline constexpr size_t kMaxItems = 4000;

/// Every value but the first stands behind one of these. Those within texts count too: nothing
/// honest has that many.
inline bool AnswerBound::Takes(std::string_view json) const {
    const auto separates = [](char c) { return c == ',' || c == '[' || c == '{'; };
    return json.size() <= bytes &&
           static_cast<size_t>(std::count_if(json.begin(), json.end(), separates)) <= values;
}

}  // namespace vms::httpdevice
