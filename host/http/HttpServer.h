#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "host/http/BodyBudget.h"
#include "host/http/HttpGate.h"
#include "host/http/HttpRouter.h"
#include "host/net/DropPolicy.h"
#include "host/net/IoThread.h"
#include "host/net/Wire.h"

class ILogHandler;

namespace vms::host {

struct HttpSettings {
    size_t connections = 4096;                  ///< at most, those that have been upgraded included
    size_t longestHead = size_t{16} << 10;      ///< bytes of header, chunk extensions and
                                                ///< trailer of a request together
    size_t longestBody = size_t{4} << 20;       ///< bytes
    size_t threads = 2;                         ///< that handlers run on
    std::chrono::milliseconds idle{30'000};     ///< longest wait for a request to begin
    std::chrono::milliseconds request{30'000};  ///< from its first byte to its last
    std::chrono::milliseconds unread{30'000};   ///< longest time in which a client takes nothing of
                                                ///< what waits for it
    std::chrono::milliseconds linger{2'000};  ///< how long a client that is through may still send
    bool isSecureOnly = false;  ///< who comes without TLS is told where to go instead
    SendLimits send;                          ///< of each connection
};

/// Serves HTTP/1.1 to any number of clients, each on the I/O thread of its wire: no client and no
/// answer holds a thread. Requests of one client are served one after the other.
///
/// Beyond the bound of connections a newcomer takes the place of the one that has been longest
/// without a request that was let in: whoever only occupies places loses them first, and a client
/// that is idle can come again. When all are busy the newcomer gets a 503.
///
/// Thread-safe.
class HttpServer {
public:
    /// @param budget for all bodies under way; shared with whoever else receives much
    /// Budget and log must outlive this object.
    HttpServer(HttpRouter router, HttpGate gate, BodyBudget& budget, ILogHandler& log,
               const HttpSettings& settings = {});

    /// Stops unless that has been done.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Serves a client from here on. On the wire's I/O thread, which must run until Stop returns.
    void Serve(std::unique_ptr<Wire> wire, IoThread& io);

    /// Closes all connections but those that have been upgraded, and takes no new ones. Returns
    /// once no handler runs and none will be called; replies that are still held do nothing any
    /// more. Not to be called on an I/O thread or by a handler.
    void Stop();

    /// Those that have been upgraded included.
    size_t Connections() const;

private:
    class Impl;
    const std::shared_ptr<Impl> impl_;
};

}  // namespace vms::host
