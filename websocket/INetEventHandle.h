#pragma once

/// Sink of a WebSocket client's events. Called on the client's receive thread, one event at a time;
/// data is valid during the call. Clients share a few receive threads: an event that takes long
/// holds up others. The sink must stay alive until the client's Release has returned.
/// Slot order is part of the contract.
class INetEventHandle {
public:
    virtual ~INetEventHandle() = default;

    /// The connection stands. @param text sub-protocol chosen by the server, may be empty
    virtual void OnConnect(long long handle, const char* text, int len) = 0;

    /// The connection is gone, or was never made; the last event.
    /// @param code WebSocket close code (RFC 6455, 7.4) or a negative value for a local failure
    virtual void OnClose(long long handle, int code, const char* msg) = 0;

    /// One whole message. @param len bytes, 0 is possible
    virtual void OnRecv(long long handle, const char* data, int len) = 0;

    /// Message with a topic, for transports that have one.
    virtual void OnRecv(long long /*handle*/, const char* /*topic*/, const char* /*data*/,
                        int /*len*/) {}
};
