#pragma once

#include <string>

namespace vms::host {

/// How browsers are served over WebRTC.
struct WhepSettings {
    std::string library;  ///< path of the library that speaks WebRTC
    size_t players = 10;  ///< at most, those that are being set up included; 0 = no WebRTC
    std::string host;     ///< address to receive at; a name or "0.0.0.0" = at all of the machine's
    int firstPort = 0;    ///< of the UDP ports to receive at; 0 = any
    int lastPort = 0;     ///< the same
    bool warmUp = false;  ///< loads the library at once, and not with the first player
};

}  // namespace vms::host
