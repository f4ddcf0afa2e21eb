#pragma once

#include <atomic>

#include "platform/websocket/CallbackGate.h"
#include "platform/websocket/Connection.h"

namespace vms {

/// What a client shares with its connection: turns reports into events for the handler, and
/// remembers the end. Outlives the client while the connection closes. Thread-safe.
class ClientSession final : public ConnectionSink {
public:
    ClientSession();

    long long Handle() const { return handle_; }
    bool Closed() const { return closed_; }
    void MarkClosed() { closed_ = true; }
    CallbackGate& Gate() { return gate_; }

    void Opened(std::string_view protocol) override;
    void Received(const char* data, size_t size) override;
    void Ended(int code, const char* message) override;
    void Dropped() override { MarkClosed(); }

private:
    const long long handle_;
    std::atomic<bool> closed_{false};
    CallbackGate gate_;
};

}  // namespace vms
