#pragma once

#include <compare>
#include <string>

namespace vms::host {

/// A live stream as addresses name it.
struct StreamAddress {
    std::string device;  ///< identifier
    int channel = 0;     ///< as the device counts them, from 0
    int stream = 0;      ///< 0 = main, 1 = sub, and what else the device has
    bool faces = false;  ///< with the faces that the device finds, where it is not open already

    auto operator<=>(const StreamAddress&) const = default;
};

/// Longest identifier of a device that is looked for, bytes.
inline constexpr size_t kLongestDevice = 1024;

/// Reads an address from its parts, such as "hall", "0" and "1". Re-entrant.
/// @param device  not empty, at most `kLongestDevice` bytes, none of them NUL
/// @param channel, stream decimal, 0..65535; an empty stream is the main one
/// @return what is wrong, a sentence without its full stop; "" = nothing
std::string ReadStreamAddress(const std::string& device, const std::string& channel,
                              const std::string& stream, StreamAddress& address);

}  // namespace vms::host
