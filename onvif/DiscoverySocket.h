#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>

namespace vms {

/// UDP socket of one discovery probe: bound to a local address, multicasting by that address's
/// interface, and handing received datagrams out one by one, so that what a broken datagram leaves
/// unread cannot run into the next. Thread-bound.
class DiscoverySocket {
public:
    /// @param localAddress dotted IPv4; in IPv6 mode an IPv6 literal (with scope) or an IPv4
    /// address
    ///                     of the interface to use
    DiscoverySocket(const std::string& localAddress, bool ipv6);
    ~DiscoverySocket();
    DiscoverySocket(const DiscoverySocket&) = delete;
    DiscoverySocket& operator=(const DiscoverySocket&) = delete;

    bool IsOpen() const { return fd_ >= 0; }
    int Descriptor() const { return fd_; }

    /// Sends one datagram to the discovery group of the address family, port 3702.
    bool Multicast(const char* data, size_t length);

    /// Moves on to the next datagram, waiting for it if none is there.
    /// @return false when none came in time or the socket failed
    bool NextDatagram(std::chrono::milliseconds timeout);

    /// Copies the next bytes of the current datagram. @return bytes copied, 0 at its end
    size_t Read(char* buffer, size_t capacity);

private:
    bool OpenIpv4(const std::string& localAddress);
    bool OpenIpv6(const std::string& localAddress);
    bool WaitReadable(std::chrono::milliseconds timeout) const;
    void Drain();

    int fd_ = -1;
    bool ipv6_;
    std::deque<std::string> waiting_;  ///< datagrams taken off the socket, oldest first
    size_t waitingBytes_ = 0;
    std::string current_;
    size_t position_ = 0;
};

}  // namespace vms
