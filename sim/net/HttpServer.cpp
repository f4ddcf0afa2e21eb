#include "sim/net/HttpServer.h"

#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>

#include "sim/net/HttpConnection.h"

namespace vms::sim {

namespace {

namespace asio = boost::asio;
using Error = boost::system::error_code;
using asio::ip::tcp;

tcp::acceptor BindTo(asio::io_context& context, const std::string& address, uint16_t port) {
    try {
        const tcp::endpoint endpoint(asio::ip::make_address(address), port);
        tcp::acceptor acceptor(context, endpoint.protocol());
        acceptor.set_option(tcp::acceptor::reuse_address(port != 0));
        acceptor.bind(endpoint);
        return acceptor;
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error("cannot bind " + address + ':' + std::to_string(port) + ": " +
                                 error.code().message());
    }
}

class Listener {
public:
    Listener(asio::io_context& context, tcp::acceptor acceptor, HttpHandler handler,
             ConnectionCounters& counters)
        : context_(context),
          acceptor_(std::move(acceptor)),
          retry_(context),
          handler_(std::move(handler)),
          counters_(counters) {}

    void Accept() {
        acceptor_.async_accept(asio::make_strand(context_),
                               [this](Error error, tcp::socket socket) {
                                   if (error == asio::error::operation_aborted)
                                       return;
                                   if (error)
                                       return AcceptLater();
                                   ++counters_.accepted;
                                   ServeHttpConnection(std::move(socket), handler_, counters_);
                                   Accept();
                               });
    }

private:
    // Out of descriptors, most likely: accepting at once would only spin.
    void AcceptLater() {
        retry_.expires_after(std::chrono::milliseconds(100));
        retry_.async_wait([this](Error error) {
            if (!error)
                Accept();
        });
    }

    asio::io_context& context_;
    tcp::acceptor acceptor_;
    asio::steady_timer retry_;
    HttpHandler handler_;
    ConnectionCounters& counters_;
};

}  // namespace

struct HttpServer::Impl {
    explicit Impl(unsigned count) : threadCount(count) {}

    const unsigned threadCount;
    asio::io_context context;
    std::vector<tcp::acceptor> reserved;
    std::vector<std::unique_ptr<Listener>> listeners;
    std::vector<std::thread> threads;
};

HttpServer::HttpServer(unsigned threads) : impl_(std::make_unique<Impl>(threads)) {}

HttpServer::~HttpServer() {
    Stop();
}

uint16_t HttpServer::Listen(const std::string& address, uint16_t port, HttpHandler handler,
                            ConnectionCounters& counters) {
    tcp::acceptor acceptor = BindTo(impl_->context, address, port);
    Error error;
    acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error)
        throw std::runtime_error("cannot listen on " + address + ':' + std::to_string(port) + ": " +
                                 error.message());
    const uint16_t bound = acceptor.local_endpoint().port();
    impl_->listeners.push_back(std::make_unique<Listener>(impl_->context, std::move(acceptor),
                                                          std::move(handler), counters));
    return bound;
}

uint16_t HttpServer::Reserve(const std::string& address, uint16_t port) {
    impl_->reserved.push_back(BindTo(impl_->context, address, port));
    return impl_->reserved.back().local_endpoint().port();
}

void HttpServer::Start() {
    for (const auto& listener : impl_->listeners)
        listener->Accept();
    for (unsigned i = 0; i < impl_->threadCount; ++i)
        impl_->threads.emplace_back([this] {
            // The listeners' pending accepts keep the context busy; a guard covers having none.
            const auto guard = asio::make_work_guard(impl_->context);
            impl_->context.run();
        });
}

void HttpServer::Stop() {
    impl_->context.stop();
    for (std::thread& thread : impl_->threads)
        thread.join();
    impl_->threads.clear();
}

}  // namespace vms::sim
