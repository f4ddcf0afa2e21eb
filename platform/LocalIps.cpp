#include "platform/LocalIps.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <utility>

namespace {

using InterfaceList = std::unique_ptr<ifaddrs, decltype(&freeifaddrs)>;

void AddOnce(std::list<std::string>& ips, std::string ip) {
    if (std::find(ips.begin(), ips.end(), ip) == ips.end())
        ips.push_back(std::move(ip));
}

std::string Trimmed(const std::string& text) {
    constexpr const char* kBlanks = " \t\r\n";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::list<std::string> ListedIps(const char* text) {
    std::list<std::string> ips;
    std::istringstream entries(text);
    for (std::string entry; std::getline(entries, entry, ',');) {
        in_addr parsed{};
        entry = Trimmed(entry);
        if (inet_pton(AF_INET, entry.c_str(), &parsed) == 1)
            AddOnce(ips, std::move(entry));
    }
    return ips;
}

InterfaceList Interfaces() {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0)
        first = nullptr;
    return {first, &freeifaddrs};
}

std::string Ipv4Of(const ifaddrs& interface) {
    if (interface.ifa_addr == nullptr || interface.ifa_addr->sa_family != AF_INET)
        return {};
    sockaddr_in address{};
    std::memcpy(&address, interface.ifa_addr, sizeof(address));
    std::array<char, INET_ADDRSTRLEN> text{};
    if (inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size()) == nullptr)
        return {};
    return text.data();
}

}  // namespace

void GetLocalIps(std::list<std::string>& ips) {
    ips.clear();
    const char* const listed = std::getenv("VMS_LOCAL_IPS");
    if (listed != nullptr && *listed != '\0') {
        ips = ListedIps(listed);
        return;
    }
    std::list<std::string> loopback;
    const InterfaceList interfaces = Interfaces();
    for (const ifaddrs* interface = interfaces.get(); interface != nullptr;
         interface = interface->ifa_next) {
        const std::string ip = Ipv4Of(*interface);
        if (ip.empty() || (interface->ifa_flags & IFF_UP) == 0)
            continue;
        if ((interface->ifa_flags & IFF_LOOPBACK) != 0)
            AddOnce(loopback, ip);
        else if ((interface->ifa_flags & IFF_MULTICAST) != 0)
            AddOnce(ips, ip);
    }
    if (ips.empty())
        ips.swap(loopback);
}
