#pragma once

#include "platform/Export.h"

class INetEventHandle;

/// An asynchronous WebSocket client (RFC 6455). Thread-safe; no lock is held while an event handler
/// runs. Slot order is part of the contract.
class IWebSocketClient {
public:
    /// Closes and frees the client. When it returns no event handler runs or will run; called from
    /// inside one, that event is the last.
    virtual void Release() = 0;

    /// Starts connecting and returns; OnConnect or OnClose tells the outcome.
    /// @param port      1..65535
    /// @param path      request path, "" = "/", a leading slash is added when missing
    /// @param protocol  offered sub-protocol, "" = none
    /// @param timeoutMs for name resolution, TCP, TLS and upgrade together
    /// @return false when the arguments are unusable or the client was used before
    virtual bool Connect(const char* host, int port, const char* path, const char* protocol,
                         int timeoutMs, bool secure) = 0;

    /// Queues one text frame; never waits for the peer. @param length bytes, must be UTF-8
    /// @return false when not connected, or when too much waits to be sent already
    virtual bool Send(const char* text, int length) = 0;

    /// Asks for the close and returns; OnClose follows when there was a connection.
    virtual void Stop() = 0;

    /// Number that the events of this client carry; unique in the process.
    virtual long long GetHandle() = 0;

    /// True once OnClose has returned, after a failed connect, and after Stop before any connect.
    virtual bool GetCloseStatus() = 0;

    /// @param handler not owned, may be null; set it before Connect
    virtual void SetEventHandle(INetEventHandle* handler) = 0;

    /// Queues one binary frame; never waits for the peer. @param length bytes
    /// @return false when not connected, or when too much waits to be sent already
    virtual bool SendBinary(const char* data, int length) = 0;

protected:
    ~IWebSocketClient() = default;
};

/// A new client, freed with Release.
VMS_PLATFORM_API IWebSocketClient* CreateWebSocketClient();
