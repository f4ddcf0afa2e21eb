#include "sim/discovery/MulticastSocket.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vms::sim {

namespace {

constexpr uint16_t kPort = 3702;
constexpr const char* kGroup = "239.255.255.250";
constexpr size_t kMaxDatagram = 65536;

template <class T>
void SetOption(int descriptor, int level, int name, const T& value, const char* what) {
    if (setsockopt(descriptor, level, name, &value, sizeof value) != 0)
        throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

int OpenSocket() {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        throw std::runtime_error(std::string("discovery socket: ") + std::strerror(errno));
    return descriptor;
}

void BindToPort(int descriptor) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kPort);
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error(std::string("discovery port 3702: ") + std::strerror(errno));
}

// The two directions of the ancillary data that carries an interface.
union PacketInfoBuffer {
    cmsghdr align;
    char bytes[CMSG_SPACE(sizeof(in_pktinfo))];
};

void ReadArrival(msghdr& message, Arrival& arrival) {
    for (cmsghdr* entry = CMSG_FIRSTHDR(&message); entry; entry = CMSG_NXTHDR(&message, entry)) {
        if (entry->cmsg_level != IPPROTO_IP || entry->cmsg_type != IP_PKTINFO)
            continue;
        in_pktinfo info{};
        std::memcpy(&info, CMSG_DATA(entry), sizeof info);
        arrival.interfaceIndex = info.ipi_ifindex;
        arrival.localAddress = info.ipi_spec_dst;
    }
}

}  // namespace

MulticastSocket::MulticastSocket(const std::vector<DiscoveryInterface>& interfaces)
    : descriptor_(OpenSocket()) {
    try {
        SetOption(descriptor_, SOL_SOCKET, SO_REUSEADDR, 1, "SO_REUSEADDR");
        SetOption(descriptor_, IPPROTO_IP, IP_PKTINFO, 1, "IP_PKTINFO");
        // Without this the socket would also hear groups that other processes joined elsewhere.
        SetOption(descriptor_, IPPROTO_IP, IP_MULTICAST_ALL, 0, "IP_MULTICAST_ALL");
        SetOption(descriptor_, SOL_SOCKET, SO_SNDBUF, 4 * 1024 * 1024, "SO_SNDBUF");
        BindToPort(descriptor_);
        Join(interfaces);
    } catch (...) {
        close(descriptor_);
        throw;
    }
}

MulticastSocket::~MulticastSocket() {
    close(descriptor_);
}

void MulticastSocket::Join(const std::vector<DiscoveryInterface>& interfaces) {
    size_t joined = 0;
    std::string problem = "no interface given";
    for (const DiscoveryInterface& interface : interfaces) {
        ip_mreqn request{};
        inet_pton(AF_INET, kGroup, &request.imr_multiaddr);
        inet_pton(AF_INET, interface.address.c_str(), &request.imr_address);
        if (setsockopt(descriptor_, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof request) == 0)
            ++joined;
        else
            problem = interface.address + ": " + std::strerror(errno);
    }
    if (joined == 0)
        throw std::runtime_error("cannot join the discovery group: " + problem);
}

bool MulticastSocket::Receive(std::string& datagram, Arrival& arrival) {
    datagram.resize(kMaxDatagram);
    iovec part{datagram.data(), datagram.size()};
    PacketInfoBuffer control{};
    msghdr message{};
    message.msg_name = &arrival.source;
    message.msg_namelen = sizeof arrival.source;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof control.bytes;
    const ssize_t length = recvmsg(descriptor_, &message, 0);
    if (length < 0)
        return false;
    datagram.resize(static_cast<size_t>(length));
    ReadArrival(message, arrival);
    return true;
}

void MulticastSocket::Reply(std::string_view datagram, const Arrival& arrival) {
    sockaddr_in target = arrival.source;
    iovec part{const_cast<char*>(datagram.data()), datagram.size()};
    PacketInfoBuffer control{};
    msghdr message{};
    message.msg_name = &target;
    message.msg_namelen = sizeof target;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof control.bytes;
    cmsghdr* entry = CMSG_FIRSTHDR(&message);
    entry->cmsg_level = IPPROTO_IP;
    entry->cmsg_type = IP_PKTINFO;
    entry->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info{};
    info.ipi_ifindex = arrival.interfaceIndex;
    info.ipi_spec_dst = arrival.localAddress;
    std::memcpy(CMSG_DATA(entry), &info, sizeof info);
    // A lost answer is part of discovery's nature; there is nobody to tell.
    [[maybe_unused]] const ssize_t sent = sendmsg(descriptor_, &message, MSG_NOSIGNAL);
}

std::vector<DiscoveryInterface> FindDiscoveryInterfaces() {
    std::vector<DiscoveryInterface> found;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return found;
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET)
            continue;
        const bool usable = (entry->ifa_flags & (IFF_MULTICAST | IFF_LOOPBACK)) != 0;
        if ((entry->ifa_flags & IFF_UP) == 0 || !usable)
            continue;
        sockaddr_in address{};
        std::memcpy(&address, entry->ifa_addr, sizeof address);
        found.push_back({entry->ifa_name, ToText(address.sin_addr)});
    }
    freeifaddrs(list);
    return found;
}

std::string InterfaceName(int index) {
    char name[IF_NAMESIZE] = "";
    return if_indextoname(static_cast<unsigned>(index), name) ? name : "";
}

std::string ToText(in_addr address) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

}  // namespace vms::sim
