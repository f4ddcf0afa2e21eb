#pragma once

#include <functional>
#include <string>

#include "host/net/Wire.h"

namespace vms::host {

/// Who speaks over a WebSocket, without the transport, which calls it on its I/O thread: nothing
/// here may wait.
class WebSocketUser {
public:
    virtual ~WebSocketUser() = default;

    /// The connection stands. @return false: go silently, and call nothing else but Gone
    virtual bool Opened(const Peer& peer) = 0;

    /// Right after that. @return why the connection must end, "" = it goes on
    virtual std::string Begin() = 0;

    /// A frame has come. @param done to be called once on any thread when the frame is through:
    ///             until then it counts as waiting, and reading rests when much waits
    virtual void Received(std::string frame, bool isText, std::function<void()> done) = 0;

    /// The connection is gone; once or more often.
    virtual void Gone(int code, const std::string& reason) = 0;

    virtual void CountTooSlow() = 0;
};

}  // namespace vms::host
