#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/net/IoThread.h"
#include "host/net/Output.h"
#include "host/net/Wire.h"

namespace vms::host {

/// One client: its wire, what waits for it, and the flushing of that. Whoever speaks with the
/// client holds one; senders of streams share it. Thread-safe, except for what says otherwise.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    /// @param io the wire's thread; must outlive the wire
    Connection(std::unique_ptr<Wire> wire, IoThread& io, const SendLimits& limits);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Sending, as Output has it. None of these waits.
    // @return false when the client has been given up or is gone

    void BeginLive(const std::vector<Chunk>& prelude, bool holds);
    /// Hands what waits to the kernel as far as it takes it: on the calling thread, unless that is
    /// work for the I/O thread.
    void FlushHere();
    bool SendLive(const Chunk& chunk) { return Settle(output_.SendLive(chunk)); }
    bool SendUnit(const FramePrefix& prefix, std::string_view unit, UnitKind kind, bool isWhole) {
        return Settle(output_.SendUnit(prefix, unit, kind, isWhole));
    }
    bool Send(const FramePrefix& prefix, std::string_view body, SendQueue::Class what) {
        return Settle(output_.Send(prefix, body, what));
    }
    bool SendRaw(std::string_view bytes);

    /// The same as SendLive, but where the chunk may go at once it is left to the caller to send.
    /// @return the socket to send it on before Release is called, -1 = it has been seen to
    int ClaimFor(const Chunk& chunk);
    void Release(const Chunk& chunk, ssize_t taken) { Settle(output_.Release(chunk, taken)); }

    SendCounts Counts() const { return output_.Counts(); }

    /// Whether the client has been found too slow.
    bool IsGivenUp() const { return givenUp_; }

    /// Takes no more units and texts; what has begun still goes.
    void Finish() { output_.Finish(); }

    /// Has whoever speaks with the client end the connection. @param reason ASCII, at most 100
    /// bytes
    void AskToEnd(const std::string& reason);

    IoThread& Io() const { return io_; }

    // On the I/O thread:

    /// @param givenUp called once when the client proves too slow
    /// @param allSent called each time nothing waits any more that had to wait
    /// @param end     called when somebody has asked to end the connection
    void SetEvents(std::function<void()> givenUp, std::function<void()> allSent = {},
                   std::function<void(const std::string& reason)> end = {});

    /// Until Close.
    Wire& GetWire() { return *wire_; }

    /// Ends the connection: nobody sends any more, the wire is closed, the events are forgotten.
    /// Once or more often.
    void Close();

private:
    bool Settle(const Output::Outcome& outcome);
    void FlushSoon();
    void FlushOnIoThread();
    void FlushWhenWritable();

    IoThread& io_;
    const std::unique_ptr<Wire> wire_;
    Output output_;
    std::atomic<bool> givenUp_{false};
    // Of the I/O thread:
    std::function<void()> onGivenUp_;
    std::function<void()> onAllSent_;
    std::function<void(const std::string&)> onEnd_;
};

}  // namespace vms::host
