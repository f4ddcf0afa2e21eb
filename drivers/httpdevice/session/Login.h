#pragma once

#include <functional>
#include <optional>
#include <string>

#include "drivers/httpdevice/session/DeviceAddress.h"

namespace vms::httpdevice {

/// The most rounds of hashing that a device may ask for: about a second of work.
inline constexpr int kMaxIterations = 1'000'000;

/// Carries one request to the device and its answer back; the session may be "".
/// @return nothing when no answer came
using Carrier = std::function<std::optional<std::string>(
    const std::string& url, const std::string& body, const std::string& session)>;

struct LoginOutcome {
    enum class Kind {
        kDone,
        kUnreachable,  ///< no answer to one of the requests
        kRefused,      ///< the device does not want us, or we do not want it
    };
    Kind kind = Kind::kRefused;
    std::string session;      ///< of kDone
    const char* reason = "";  ///< of the others, for the log
};

/// Logs in: challenge, proof, session, and the proof of the key where the device's login family
/// wants one. Blocks as long as the carrier does, and for the hashing.
LoginOutcome LogIn(const DeviceAddress& address, const Carrier& carrier);

/// Proves to the device that both sides have the same AES key.
/// @return whether it believes it
bool ProveKey(const DeviceAddress& address, const std::string& session, const Carrier& carrier);

}  // namespace vms::httpdevice
