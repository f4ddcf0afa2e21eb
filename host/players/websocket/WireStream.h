#pragma once

#include <boost/asio/async_result.hpp>
#include <boost/asio/buffers_iterator.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/buffers_prefix.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/core/role.hpp>

#include <memory>
#include <string>
#include <utility>

#include "host/net/Connection.h"

namespace vms::host {

/// A connection as the WebSocket library sees it: it reads from the wire, and what it writes
/// (handshake, pong, close) joins the media in the connection's output. Of one I/O thread.
class WireStream {
public:
    using executor_type = boost::asio::io_context::executor_type;

    /// @param read what has been read from the wire already
    WireStream(std::shared_ptr<Connection> connection, std::string read)
        : connection_(std::move(connection)), read_(std::move(read)) {}

    executor_type get_executor() { return connection_->Io().Context().get_executor(); }
    Connection& Client() { return *connection_; }

    template <class Buffers, class Handler>
    auto async_read_some(const Buffers& buffers, Handler&& handler) {
        return boost::asio::async_initiate<Handler, void(boost::beast::error_code, size_t)>(
            [this](auto completion, const Buffers& room) { this->Read(std::move(completion), room); },
            handler, buffers);
    }

    template <class Buffers, class Handler>
    auto async_write_some(const Buffers& buffers, Handler&& handler) {
        return boost::asio::async_initiate<Handler, void(boost::beast::error_code, size_t)>(
            [this](auto completion, const Buffers& data) {
                const std::string bytes(boost::asio::buffers_begin(data),
                                        boost::asio::buffers_end(data));
                boost::beast::error_code error;
                if (!connection_->SendRaw(bytes))
                    error = boost::asio::error::broken_pipe;
                Complete(std::move(completion), error, error ? 0 : bytes.size());
            },
            handler, buffers);
    }

private:
    template <class Completion, class Buffers>
    void Read(Completion completion, const Buffers& room) {
        if (!read_.empty()) {
            const size_t taken = boost::asio::buffer_copy(room, boost::asio::buffer(read_));
            read_.erase(0, taken);
            Complete(std::move(completion), {}, taken);
            return;
        }
        // The library's handlers can be moved only, the wire's must be copyable.
        const auto shared = std::make_shared<Completion>(std::move(completion));
        connection_->GetWire().ReadSome(*boost::asio::buffer_sequence_begin(room),
                                        [shared](boost::system::error_code error, size_t bytes) {
                                            std::move (*shared)(error, bytes);
                                        });
    }

    template <class Completion>
    void Complete(Completion completion, boost::beast::error_code error, size_t bytes) {
        boost::asio::post(get_executor(),
                          boost::beast::bind_front_handler(std::move(completion), error, bytes));
    }

    const std::shared_ptr<Connection> connection_;
    std::string read_;
};

// How the WebSocket library ends a connection of a type it does not know.

inline void beast_close_socket(WireStream& stream) {
    stream.Client().Close();
}

inline void teardown(boost::beast::role_type, WireStream& stream, boost::beast::error_code& error) {
    error = {};
    stream.Client().Close();
}

template <class Handler>
void async_teardown(boost::beast::role_type, WireStream& stream, Handler&& handler) {
    stream.Client().GetWire().EndSending();
    boost::asio::post(stream.get_executor(),
                      boost::beast::bind_front_handler(std::forward<Handler>(handler),
                                                       boost::beast::error_code{}));
}

}  // namespace vms::host
