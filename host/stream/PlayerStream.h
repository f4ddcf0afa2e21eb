#pragma once

#include <boost/asio/async_result.hpp>
#include <boost/asio/buffers_iterator.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/core/role.hpp>

#include <functional>
#include <string>
#include <utility>

#include "host/stream/PlayerOutput.h"

namespace vms {

/// What the WebSocket library sees as the player's connection: it reads from the socket, and what
/// it writes (handshake, pong, close) joins the media in the player's output. Of one I/O thread.
class PlayerStream {
public:
    using executor_type = boost::asio::ip::tcp::socket::executor_type;
    using Settle = std::function<void(const PlayerOutput::Outcome&)>;

    /// @param output must outlive this object @param settle told of every write
    PlayerStream(boost::asio::ip::tcp::socket socket, PlayerOutput& output, Settle settle)
        : socket_(std::move(socket)), output_(output), settle_(std::move(settle)) {
        output_.Open(socket_.native_handle());
    }

    executor_type get_executor() { return socket_.get_executor(); }
    boost::asio::ip::tcp::socket& Socket() { return socket_; }

    template <class Buffers, class Handler>
    auto async_read_some(const Buffers& buffers, Handler&& handler) {
        return socket_.async_read_some(buffers, std::forward<Handler>(handler));
    }

    template <class Buffers, class Handler>
    auto async_write_some(const Buffers& buffers, Handler&& handler) {
        return boost::asio::async_initiate<Handler, void(boost::beast::error_code, size_t)>(
            [this](auto completion, const Buffers& data) {
                const std::string bytes(boost::asio::buffers_begin(data),
                                        boost::asio::buffers_end(data));
                const PlayerOutput::Outcome outcome = output_.SendRaw(bytes);
                settle_(outcome);
                boost::beast::error_code error;
                if (outcome.verdict != SendVerdict::accepted)
                    error = boost::asio::error::broken_pipe;
                boost::asio::post(get_executor(),
                                  boost::beast::bind_front_handler(std::move(completion), error,
                                                                   error ? 0 : bytes.size()));
            },
            handler, buffers);
    }

    /// Ends both directions; nobody sends on the descriptor any more.
    void Close() {
        output_.Close();
        boost::beast::error_code ignored;
        socket_.close(ignored);
    }

private:
    boost::asio::ip::tcp::socket socket_;
    PlayerOutput& output_;
    const Settle settle_;
};

// How the WebSocket library ends a connection of a type it does not know.

inline void beast_close_socket(PlayerStream& stream) {
    stream.Close();
}

inline void teardown(boost::beast::role_type, PlayerStream& stream,
                     boost::beast::error_code& error) {
    error = {};
    stream.Close();
}

template <class Handler>
void async_teardown(boost::beast::role_type, PlayerStream& stream, Handler&& handler) {
    boost::beast::error_code ignored;
    stream.Socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
    boost::asio::post(stream.get_executor(),
                      boost::beast::bind_front_handler(std::forward<Handler>(handler),
                                                       boost::beast::error_code{}));
}

}  // namespace vms
