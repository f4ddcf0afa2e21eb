#pragma once

#include <string>
#include <string_view>

namespace vms::sim::httpdevice {

/// SHA-256 by Nettle: the library under test uses OpenSSL, and both must come to the same digest.
/// @return the 32 bytes
std::string Sha256(std::string_view text);

/// Lower-case hexadecimal text.
std::string ToHex(std::string_view bytes);

}  // namespace vms::sim::httpdevice
