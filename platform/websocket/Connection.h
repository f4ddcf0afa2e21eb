#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "platform/WebSocketSettings.h"
#include "platform/websocket/ConnectionRequest.h"

namespace vms {

class IoThreads;

/// What a connection reports: on I/O threads, one report at a time. Must not throw.
class ConnectionSink {
public:
    virtual ~ConnectionSink() = default;

    virtual void Opened(std::string_view protocol) = 0;
    /// @param data valid during the call, not null
    virtual void Received(const char* data, size_t size) = 0;
    /// The last report. @param code close code, or one of the negative codes of EndCodes.h
    virtual void Ended(int code, const char* message) = 0;
    /// The I/O threads are gone and the connection with them; nothing is reported any more. Called
    /// instead of Ended.
    virtual void Dropped() = 0;
};

/// One attempt to connect and what becomes of it. Thread-safe; no call waits for the peer or for a
/// report. Lives as long as it has something to do: holders keep weak references, so that
/// connections can go with the I/O threads.
class Connection {
public:
    virtual ~Connection() = default;

    /// Once.
    virtual void Start() = 0;
    /// @return false when not open or when too much is queued already
    virtual bool Send(std::string_view bytes, bool text) = 0;
    /// Gives up connecting, or sends what is queued and closes.
    virtual void Close() = 0;
};

std::shared_ptr<Connection> MakePlainConnection(IoThreads& io, ConnectionRequest request,
                                                const WebSocketSettings& settings,
                                                std::shared_ptr<ConnectionSink> sink);

/// @throws std::exception when the certificates to trust cannot be read
std::shared_ptr<Connection> MakeTlsConnection(IoThreads& io, ConnectionRequest request,
                                              const WebSocketSettings& settings,
                                              std::shared_ptr<ConnectionSink> sink);

}  // namespace vms
