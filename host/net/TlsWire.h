#pragma once

#include <boost/asio/ip/tcp.hpp>

#include <cstdint>
#include <memory>

#include "host/net/TlsContext.h"
#include "host/net/Wire.h"

namespace vms::host {

/// Puts a connection's SSL on its socket, through a TlsInput. @return false without memory
bool AttachTls(ssl_st* tls, int socket);

/// A wire over TLS whose handshake is done. Everything is encrypted on the I/O thread, unless the
/// kernel has taken over the sending side: then bytes are written as to a plain wire.
/// @param tls attached to this socket
/// @param recordsPerKey that TLS 1.3 sends under one key: by default well below what AES-GCM is
/// good for (2^24.5) @throws boost::system::system_error
std::unique_ptr<Wire> MakeTlsWire(boost::asio::ip::tcp::socket socket, Ssl tls,
                                  uint64_t recordsPerKey = uint64_t{1} << 23);

}  // namespace vms::host
