#pragma once

#include <string>

namespace vms {

/// The decimal number a text begins with, clamped to the range of int; no digits give 0.
int ParseDecimal(const char* text);
inline int ParseDecimal(const std::string& text) {
    return ParseDecimal(text.c_str());
}

/// The device identifier in a session key: everything before the last hyphen, the whole text when
/// there is none.
std::string DeviceOfSessionKey(const std::string& sessionKey);

}  // namespace vms
