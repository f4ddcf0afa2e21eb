#pragma once

#include <string>

namespace vms::httpdevice {

/// Solves the "keyCheck" of a device's security capability: one block of AES-128-CBC that holds 16
/// hexadecimal digits. Re-entrant.
/// @param answer the device's answer. @param key 16 bytes
/// @return the digits; "" when there is no such check or the key does not open it
std::string AnswerKeyCheck(const std::string& answer, const std::string& key);

}  // namespace vms::httpdevice
