#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "platform/WebSocketSettings.h"

namespace boost::asio::ssl {
class context;
}

namespace vms {

/// The TLS configuration that clients with these settings share. Thread-safe.
/// @throws std::exception when the certificates to trust cannot be read
std::shared_ptr<boost::asio::ssl::context> TlsContextFor(const WebSocketSettings& settings);

/// Prepares one connection: server name, and the identity to verify if that is wanted.
/// @return false when OpenSSL refuses the name
bool PrepareTls(SSL* tls, const std::string& host, bool verify);

/// Whether that is the fingerprint of the peer's certificate, see WebSocketSettings.
bool HasFingerprint(const SSL* tls, const std::string& fingerprint);

/// Why the peer's certificate was refused; null when it was not.
const char* CertificateError(const SSL* tls);

}  // namespace vms
