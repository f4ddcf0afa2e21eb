#pragma once

#include <sys/types.h>
#include <sys/uio.h>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/system/error_code.hpp>

#include <cstddef>
#include <functional>
#include <string>

namespace vms::host {

/// Where the other end of a connection is.
struct Peer {
    std::string address;  ///< numeric
    int port = 0;
};

/// The bytes of one connection, in both directions: plain TCP, or TLS over it. Belongs to one I/O
/// thread; what any thread may call says so.
class Wire {
public:
    using ReadHandler = std::function<void(boost::system::error_code, size_t)>;
    using ReadyHandler = std::function<void(boost::system::error_code)>;

    virtual ~Wire() = default;
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    /// Sends what the kernel takes now; never waits. Any thread, one at a time, until Close; on the
    /// I/O thread alone where WritesOnIoThread.
    /// @return bytes taken, 0 = none now, -1 = the connection is broken
    virtual ssize_t Write(const iovec* parts, size_t count) = 0;

    /// Whether writing is work that no other thread should be held up with: encryption. Constant.
    virtual bool WritesOnIoThread() const { return false; }

    /// After a Write that has not taken all: whether what comes next in line is on its way all the
    /// same, so that the next Write must begin with it and offer no less. As Write.
    virtual bool HoldsNext() const { return false; }

    /// Whether the bytes are encrypted on their way. Constant.
    virtual bool IsSecure() const { return false; }

    /// A connected, non-blocking socket on which bytes may be written as they are, in place of
    /// Write; -1 where they must be changed on the way. Constant.
    virtual int PlainSocket() const = 0;

    /// Breaks the connection in both directions; the reading side hears of it. Any thread, until
    /// Close.
    virtual void Break() noexcept = 0;

    // On the I/O thread. Handlers run there, never inside these calls; what they need stays alive
    // through what they hold.

    virtual boost::asio::io_context::executor_type get_executor() = 0;
    virtual void ReadSome(boost::asio::mutable_buffer buffer, ReadHandler handler) = 0;
    /// Calls the handler once Write would take something.
    virtual void WhenWritable(ReadyHandler handler) = 0;
    /// Tells the other end that nothing more comes.
    virtual void EndSending() noexcept = 0;
    /// Ends everything; waiting handlers are called with an error. Once or more often.
    virtual void Close() noexcept = 0;
    /// @return an empty address when the connection is broken already
    virtual Peer RemoteEnd() const = 0;

protected:
    Wire() = default;
};

}  // namespace vms::host
