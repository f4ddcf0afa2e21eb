#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <netinet/in.h>

namespace vms::sim {

/// A local IPv4 interface on which probes are listened for.
struct DiscoveryInterface {
    std::string name;
    std::string address;
};

/// Where a datagram came from and how to answer on the same wire.
struct Arrival {
    sockaddr_in source{};
    int interfaceIndex = 0;
    in_addr localAddress{};  ///< our address on the wire it arrived on
};

/// The shared UDP port of WS-Discovery with one membership for each interface. Closed on
/// destruction; other processes may open the same port.
class MulticastSocket {
public:
    /// @throws std::runtime_error when the port cannot be shared or no interface can be joined
    explicit MulticastSocket(const std::vector<DiscoveryInterface>& interfaces);
    ~MulticastSocket();
    MulticastSocket(const MulticastSocket&) = delete;
    MulticastSocket& operator=(const MulticastSocket&) = delete;

    int descriptor() const { return descriptor_; }
    /// Non-blocking. @return false when nothing is waiting
    bool Receive(std::string& datagram, Arrival& arrival);
    void Reply(std::string_view datagram, const Arrival& arrival);

private:
    void Join(const std::vector<DiscoveryInterface>& interfaces);

    int descriptor_ = -1;
};

/// Interfaces that are up and can multicast, and the loopback one.
std::vector<DiscoveryInterface> FindDiscoveryInterfaces();

std::string InterfaceName(int index);
std::string ToText(in_addr address);

}  // namespace vms::sim
