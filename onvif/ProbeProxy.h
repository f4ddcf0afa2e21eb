#pragma once

#include <string>

#include "onvif/DiscoverySocket.h"
#include "soapwsddProxy.h"

namespace vms {

/// The generated WS-Discovery proxy on a DiscoverySocket: writes the Probe and reads ProbeMatches,
/// one datagram a message. Thread-bound.
class ProbeProxy {
public:
    ProbeProxy(DiscoverySocket& socket, const char* localAddress, bool ipv6);
    ~ProbeProxy();
    ProbeProxy(const ProbeProxy&) = delete;
    ProbeProxy& operator=(const ProbeProxy&) = delete;

    /// Multicasts one Probe for network video transmitters.
    bool SendProbe(const std::string& messageId);

    /// Waits up to a second for the next message. `matches` stays valid until the next call and is
    /// null when the message carries no ProbeMatches.
    /// @return false on any receive error, the silent second included
    bool Receive(wsdd__ProbeMatchesType*& matches);

private:
    void InstallHeader(const std::string& messageId);

    DiscoverySocket& socket_;
    bool ipv6_;
    wsddProxy proxy_;
};

}  // namespace vms
