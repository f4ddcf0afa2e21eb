#pragma once

#include <chrono>
#include <string>

namespace vms::host {

/// A certificate, with the chain that leads to who has signed it, and its private key.
struct TlsCredentials {
    std::string certificate;  ///< PEM
    std::string key;          ///< PEM, without a passphrase
    std::string origin;       ///< where they come from, for messages
};

/// What is told of a certificate.
struct TlsCertificate {
    std::string fingerprint;  ///< SHA-256, as AB:CD:...
    std::chrono::system_clock::time_point begins;
    std::chrono::system_clock::time_point ends;
};

/// Reads files, of at most 1 MiB each. @throws HostError
TlsCredentials ReadTlsFiles(const std::string& certificate, const std::string& key);

/// @throws HostError when there is no certificate in it
TlsCertificate DescribeCertificate(const TlsCredentials& credentials);

/// What is wrong with a certificate's time, worded for the log: it has ended, ends within 30 days,
/// or has not begun. "" = nothing.
std::string TimeProblem(const TlsCertificate& certificate,
                        std::chrono::system_clock::time_point now);

}  // namespace vms::host
