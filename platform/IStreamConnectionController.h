#pragma once

#include <string>

struct __tagTvCommand;

/// The host's stream server as modules see it. Thread-safe. Slot order is part of the contract.
class IStreamConnectionController {
public:
    /// Queues one media unit; the bytes are copied before the call returns.
    /// @param length     bytes, > 0
    /// @param isPlayback false: live, may be dropped to the next key frame when the player is slow;
    ///                   true: never dropped, ask QueryDataCount and slow down
    /// @return -1 when the connection is gone or has been closed for being too slow
    virtual int SendData(long long connectionId, const char* data, int length, bool isPlayback) = 0;

    /// Queues a command record as a message to the player; copied. @return -1 on failure
    virtual int SendCommand(long long connectionId, __tagTvCommand* command) = 0;

    /// Closes a connection; its module hears OnClose.
    virtual void CloseConnection(long long connectionId) = 0;

    /// Where players reach the stream server. @param port 1..65535
    virtual void GetServerAddress(std::string& host, int& port) = 0;

    /// Media units still queued for a connection; -1 when it is gone.
    virtual int QueryDataCount(long long connectionId) = 0;

protected:
    ~IStreamConnectionController() = default;
};
