#pragma once

#include <string>

namespace vms::sim::httpdevice {

/// A key and a certificate that vouches for itself, as devices come with.
struct SelfSigned {
    std::string keyPem;
    std::string certificatePem;
};

/// @throws std::runtime_error when OpenSSL fails
SelfSigned MakeSelfSigned(const std::string& commonName);

}  // namespace vms::sim::httpdevice
