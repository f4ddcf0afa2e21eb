#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sim/net/ConnectionCounters.h"
#include "sim/net/HttpMessage.h"

namespace vms::sim {

/// Any number of HTTP listeners on a few shared threads.
class HttpServer {
public:
    explicit HttpServer(unsigned threads);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Opens a listener; connections are served once Start() has been called. Port 0 picks one.
    /// `handler` and `counters` must live until Stop() has returned.
    /// @return the port
    /// @throws std::runtime_error when the address cannot be bound
    uint16_t Listen(const std::string& address, uint16_t port, HttpHandler handler,
                    ConnectionCounters& counters);

    /// Binds a port without listening, so that connections to it are refused for as long as the
    /// server lives and nobody else can take it.
    uint16_t Reserve(const std::string& address, uint16_t port);

    void Start();
    /// Ends the threads; open connections are dropped when the server is destroyed.
    void Stop();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace vms::sim
