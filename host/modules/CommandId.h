#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vms::host {

/// Reads a command identifier, decimal or hexadecimal after 0x.
/// @return nothing unless it is a positive 32-bit number
std::optional<int32_t> ParseCommandId(const std::string& text);

}  // namespace vms::host
