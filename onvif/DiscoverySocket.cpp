#include "onvif/DiscoverySocket.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

namespace vms {
namespace {

constexpr uint16_t kDiscoveryPort = 3702;
constexpr const char* kIpv4Group = "239.255.255.250";
constexpr const char* kIpv6Group = "ff02::c";
constexpr int kReceiveBufferBytes = 2 << 20;
constexpr size_t kMaxDatagram = 65536;
constexpr size_t kMaxWaitingBytes = 4 << 20;

// A site's cameras all answer within a fraction of a second. The forced size needs a privilege; the
// plain one is cut to the system's limit.
void EnlargeReceiveBuffer(int fd) {
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBufferBytes, sizeof(int)) != 0)
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBufferBytes, sizeof(int));
}

unsigned int InterfaceOfIpv4(const std::string& address) {
    in_addr wanted{};
    ifaddrs* list = nullptr;
    if (inet_pton(AF_INET, address.c_str(), &wanted) != 1 || getifaddrs(&list) != 0)
        return 0;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET)
            continue;
        sockaddr_in ipv4{};
        std::memcpy(&ipv4, entry->ifa_addr, sizeof ipv4);
        if (ipv4.sin_addr.s_addr == wanted.s_addr)
            return if_nametoindex(entry->ifa_name);
    }
    return 0;
}

bool Bind(int fd, const void* address, socklen_t length) {
    return bind(fd, static_cast<const sockaddr*>(address), length) == 0;
}

}  // namespace

DiscoverySocket::DiscoverySocket(const std::string& localAddress, bool ipv6) : ipv6_(ipv6) {
    fd_ = socket(ipv6 ? AF_INET6 : AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd_ < 0)
        return;
    EnlargeReceiveBuffer(fd_);
    if (ipv6 ? OpenIpv6(localAddress) : OpenIpv4(localAddress))
        return;
    close(fd_);
    fd_ = -1;
}

DiscoverySocket::~DiscoverySocket() {
    if (fd_ >= 0)
        close(fd_);
}

bool DiscoverySocket::OpenIpv4(const std::string& localAddress) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    return inet_pton(AF_INET, localAddress.c_str(), &local.sin_addr) == 1 &&
           setsockopt(fd_, IPPROTO_IP, IP_MULTICAST_IF, &local.sin_addr, sizeof local.sin_addr) ==
               0 &&
           Bind(fd_, &local, sizeof local);
}

bool DiscoverySocket::OpenIpv6(const std::string& localAddress) {
    sockaddr_in6 local{};
    local.sin6_family = AF_INET6;
    unsigned int interface = InterfaceOfIpv4(localAddress);
    if (interface == 0) {
        addrinfo hints{};
        hints.ai_family = AF_INET6;
        hints.ai_flags = AI_NUMERICHOST;
        addrinfo* found = nullptr;
        if (getaddrinfo(localAddress.c_str(), nullptr, &hints, &found) != 0)
            return false;
        std::memcpy(&local, found->ai_addr, sizeof local);
        freeaddrinfo(found);
        interface = local.sin6_scope_id;
    }
    return setsockopt(fd_, IPPROTO_IPV6, IPV6_MULTICAST_IF, &interface, sizeof interface) == 0 &&
           Bind(fd_, &local, sizeof local);
}

bool DiscoverySocket::Multicast(const char* data, size_t length) {
    sockaddr_in ipv4{};
    ipv4.sin_family = AF_INET;
    ipv4.sin_port = htons(kDiscoveryPort);
    inet_pton(AF_INET, kIpv4Group, &ipv4.sin_addr);
    sockaddr_in6 ipv6{};
    ipv6.sin6_family = AF_INET6;
    ipv6.sin6_port = htons(kDiscoveryPort);
    inet_pton(AF_INET6, kIpv6Group, &ipv6.sin6_addr);

    const void* group = ipv6_ ? static_cast<const void*>(&ipv6) : &ipv4;
    const socklen_t groupLength = ipv6_ ? sizeof ipv6 : sizeof ipv4;
    const ssize_t sent =
        sendto(fd_, data, length, MSG_NOSIGNAL, static_cast<const sockaddr*>(group), groupLength);
    return sent == static_cast<ssize_t>(length);
}

bool DiscoverySocket::NextDatagram(std::chrono::milliseconds timeout) {
    Drain();
    if (waiting_.empty() && WaitReadable(timeout))
        Drain();
    if (waiting_.empty())
        return false;
    current_ = std::move(waiting_.front());
    waiting_.pop_front();
    waitingBytes_ -= current_.size();
    position_ = 0;
    return true;
}

size_t DiscoverySocket::Read(char* buffer, size_t capacity) {
    const size_t count = std::min(capacity, current_.size() - position_);
    std::memcpy(buffer, current_.data() + position_, count);
    position_ += count;
    return count;
}

bool DiscoverySocket::WaitReadable(std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    pollfd entry{fd_, POLLIN, 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const int ready = poll(&entry, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
        if (ready >= 0 || errno != EINTR)
            return ready > 0;
    }
}

// Empties the kernel's buffer before any datagram is parsed: parsing takes longer than a burst of
// answers needs to overflow it.
void DiscoverySocket::Drain() {
    std::vector<char> buffer(kMaxDatagram);
    while (waitingBytes_ < kMaxWaitingBytes) {
        const ssize_t count = recv(fd_, buffer.data(), buffer.size(), 0);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return;
        waiting_.emplace_back(buffer.data(), static_cast<size_t>(count));
        waitingBytes_ += static_cast<size_t>(count);
    }
}

}  // namespace vms
