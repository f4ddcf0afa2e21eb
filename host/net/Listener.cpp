#include "host/net/Listener.h"

#include <boost/asio/post.hpp>

#include <future>
#include <utility>

#include "host/text/HostError.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

/// Out of descriptors: some may be free by then.
constexpr std::chrono::milliseconds kPause(100);

tcp::endpoint Resolve(asio::io_context& context, const std::string& host, int port) {
    boost::system::error_code error;
    tcp::resolver resolver(context);
    const auto found = resolver.resolve(host, std::to_string(port), tcp::resolver::passive, error);
    if (error || found.empty())
        throw HostError("cannot listen on \"" + host + "\": " + error.message());
    return found.begin()->endpoint();
}

}  // namespace

Listener::Listener(const std::string& host, int port, std::vector<IoThread*> threads,
                   ILogHandler& log)
    : threads_(std::move(threads)),
      log_(log),
      acceptor_(threads_.front()->Context()),
      pause_(threads_.front()->Context()) {
    const tcp::endpoint endpoint = Resolve(threads_.front()->Context(), host, port);
    try {
        acceptor_.open(endpoint.protocol());
        acceptor_.set_option(tcp::acceptor::reuse_address(true));
        acceptor_.bind(endpoint);
        acceptor_.listen();
        port_ = acceptor_.local_endpoint().port();
    } catch (const boost::system::system_error& error) {
        throw HostError("cannot listen on " + host + ":" + std::to_string(port) + ": " +
                        error.code().message());
    }
}

void Listener::Start(Sink sink) {
    sink_ = std::move(sink);
    asio::post(acceptor_.get_executor(), [this] { Accept(); });
}

void Listener::Stop() {
    // Shared: the waiting side may be through before set_value has returned.
    const auto closed = std::make_shared<std::promise<void>>();
    asio::post(acceptor_.get_executor(), [this, closed] {
        boost::system::error_code ignored;
        acceptor_.close(ignored);
        pause_.cancel();
        // Behind the accept under way, which may hold a socket of another thread's loop.
        asio::post(acceptor_.get_executor(), [closed] { closed->set_value(); });
    });
    closed->get_future().wait();
}

void Listener::Accept() {
    if (!acceptor_.is_open())
        return;
    IoThread& thread = *threads_[next_++ % threads_.size()];
    acceptor_.async_accept(thread.Context(),
                           [this, &thread](const boost::system::error_code& error, Socket socket) {
                               OnAccept(error, std::move(socket), thread);
                           });
}

void Listener::OnAccept(const boost::system::error_code& error, Socket socket, IoThread& thread) {
    if (!acceptor_.is_open())
        return;
    if (error && error != asio::error::connection_aborted) {
        log_.Log(3, "Accept", "%s", error.message().c_str());
        pause_.expires_after(kPause);
        pause_.async_wait([this](const boost::system::error_code&) { Accept(); });
        return;
    }
    if (!error)
        asio::post(thread.Context(), [this, &thread, socket = std::move(socket)]() mutable {
            sink_(std::move(socket), thread);
        });
    Accept();
}

}  // namespace vms::host
