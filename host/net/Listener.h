#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/net/IoThread.h"

class ILogHandler;

namespace vms::host {

/// Accepts TCP connections and deals them out to I/O threads in turn.
class Listener {
public:
    using Socket = boost::asio::ip::tcp::socket;
    /// Called on the socket's own I/O thread.
    using Sink = std::function<void(Socket, IoThread&)>;

    /// Listens at once; accepts from Start on.
    /// @param host address or name, @param port 0 = any free one
    /// @param threads not empty; they and the log must outlive this object's Stop
    /// @throws HostError
    Listener(const std::string& host, int port, std::vector<IoThread*> threads, ILogHandler& log);

    void Start(Sink sink);
    /// Accepts nothing more; returns when the port is closed.
    void Stop();

    int Port() const { return port_; }

private:
    void Accept();
    void OnAccept(const boost::system::error_code& error, Socket socket, IoThread& thread);

    std::vector<IoThread*> threads_;
    ILogHandler& log_;
    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::steady_timer pause_;
    int port_ = 0;
    Sink sink_;
    size_t next_ = 0;
};

}  // namespace vms::host
