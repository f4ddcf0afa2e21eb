#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/net/Listener.h"
#include "host/net/TlsDoor.h"

namespace vms::host {

/// A port at which clients come in over plain wires, or, with a certificate, over TLS and plain
/// ones side by side; whoever serves them sees by Wire::IsSecure which it is.
class WireListener {
public:
    /// Listens at once; accepts from Start on.
    /// @param host address or name, @param port 0 = any free one
    /// @param threads of the wires; not empty, they and the log must outlive this object's Stop
    /// @param tls null = plain wires only
    /// @throws HostError
    WireListener(const std::string& host, int port, const std::vector<IoThread*>& threads,
                 std::shared_ptr<TlsContext> tls, ILogHandler& log, const TlsLimits& limits = {});

    /// Stops unless that has been done.
    ~WireListener();
    WireListener(const WireListener&) = delete;
    WireListener& operator=(const WireListener&) = delete;

    /// @param sink called on the wire's I/O thread; a last time maybe after Stop, while the I/O
    /// threads run
    void Start(WireSink sink);
    /// Accepts nothing more, and ends the handshakes under way.
    void Stop();

    int Port() const { return listener_.Port(); }

    /// All 0 without TLS.
    TlsCounts Handshakes() const;

private:
    const std::shared_ptr<TlsContext> tls_;
    const std::vector<IoThread*> threads_;
    const TlsLimits limits_;
    const std::unique_ptr<IoThread> doorThread_;  ///< null without TLS
    std::unique_ptr<TlsDoor> door_;
    Listener listener_;
    bool stopped_ = false;
};

}  // namespace vms::host
