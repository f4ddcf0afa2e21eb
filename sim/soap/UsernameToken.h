#pragma once

#include <string>

namespace vms::sim {

/// A wsse:UsernameToken as it arrived; members are "" where the element was absent.
struct UsernameToken {
    std::string user;
    std::string passwordType;
    std::string password;
    std::string nonce;  ///< still in Base64
    std::string created;
};

inline constexpr const char* kPasswordDigestType =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-username-token-profile-1.0"
    "#PasswordDigest";

}  // namespace vms::sim
