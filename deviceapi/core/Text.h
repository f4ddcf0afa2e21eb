#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace vms {

/// Null counts as empty.
inline std::string_view TextOf(const char* text) {
    return text != nullptr ? text : std::string_view();
}

inline std::string Concat(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts)
        text += part;
    return text;
}

}  // namespace vms
