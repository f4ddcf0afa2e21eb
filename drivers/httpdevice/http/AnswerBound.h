#pragma once

#include <cstddef>
#include <string_view>

#include "platform/Json.h"

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

inline bool AnswerBound::Takes(std::string_view json) const {
    return json.size() <= bytes && MostJsonValues(json) <= values;
}

}  // namespace vms::httpdevice
