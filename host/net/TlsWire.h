#pragma once

#include <boost/asio/ip/tcp.hpp>

#include <memory>

#include "host/net/TlsContext.h"
#include "host/net/Wire.h"

namespace vms::host {

/// Puts a connection's SSL on its socket, through a TlsInput. @return false without memory
bool AttachTls(ssl_st* tls, int socket);

/// A wire over TLS whose handshake is done. Everything is encrypted on the I/O thread, unless the
/// kernel has taken over the sending side: then bytes are written as to a plain wire.
/// @param tls attached to this socket @throws boost::system::system_error
std::unique_ptr<Wire> MakeTlsWire(boost::asio::ip::tcp::socket socket, Ssl tls);

}  // namespace vms::host
