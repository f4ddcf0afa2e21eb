#include "onvif/OnvifDeviceSearch.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <list>
#include <string_view>

#include "module/LogSink.h"
#include "onvif/ProbeProxy.h"
#include "platform/Guid.h"
#include "platform/ILogHandler.h"
#include "platform/LocalIps.h"

namespace {

constexpr std::chrono::seconds kLongestProbe{60};
constexpr std::string_view kNameScope = "onvif://www.onvif.org/name/";
constexpr size_t kServicePathLength = std::string_view("/onvif").size();
constexpr int kDefaultPort = 80;

int ParsePort(const std::string& text) {
    return static_cast<int>(
        std::clamp<long>(std::strtol(text.c_str(), nullptr, 10), INT_MIN, INT_MAX));
}

/// The first entry of a blank-separated list.
std::string FirstOf(const char* list) {
    constexpr const char* kBlanks = " \t\r\n";
    std::string text = list != nullptr ? list : "";
    text.erase(0, text.find_first_not_of(kBlanks));
    return text.substr(0, text.find_first_of(kBlanks));
}

int SplitIpv4(const std::string& address, std::string& ip, int& port) {
    const size_t slash = address.find('/');
    if (slash == std::string::npos || slash + 2 > address.size())
        return -1;
    const size_t begin = slash + 2;
    const size_t end = address.find('/', begin);
    if (end == std::string::npos)
        return -1;
    const std::string host = address.substr(begin, end - begin);
    const size_t colon = host.rfind(':');
    ip = host.substr(0, colon);
    port = colon == std::string::npos ? kDefaultPort : ParsePort(host.substr(colon + 1));
    return 0;
}

/// Reads the last entry of a list: cameras name their IPv4 addresses first. The path of a service
/// is taken to have two parts.
int SplitIpv6(const std::string& address, std::string& ip, int& port) {
    const size_t last = address.rfind('/');
    if (last == std::string::npos || last <= kServicePathLength)
        return -1;
    const size_t end = last - kServicePathLength;
    const size_t slash = address.rfind('/', end - 1);
    if (slash == std::string::npos)
        return -1;
    const std::string host = address.substr(slash + 1, end - slash - 1);
    const size_t open = host.find('[');
    const size_t shut = host.find(']');
    if (host.find('.') != std::string::npos || open == std::string::npos ||
        shut == std::string::npos || shut < open)
        return -1;
    ip = host.substr(open + 1, shut - open - 1);
    const bool hasPort = host.compare(shut, 2, "]:") == 0;
    port = hasPort ? ParsePort(host.substr(shut + 2)) : kDefaultPort;
    return 0;
}

/// Reports the first match of a message, if it names an address that can be read.
void Report(OnvifDeviceSearch& search, const wsdd__ProbeMatchesType& matches,
            const OnvifDeviceSearch::Callback& callback) {
    const wsdd__ProbeMatchType& match = matches.ProbeMatch[0];
    __tagTvSearchDeviceParam record;
    if (match.Scopes != nullptr)
        search.GetDeviceName(match.Scopes->__item, record.name);
    if (match.XAddrs == nullptr || search.GetIpAndPort(match.XAddrs, record.ip, record.port) != 0)
        return;
    if (callback)
        callback(&record, nullptr);
}

}  // namespace

OnvifDeviceSearch::OnvifDeviceSearch(bool ipv6) : ipv6_(ipv6) {}

int OnvifDeviceSearch::start(Callback callback, void* /*user*/) {
    std::list<std::string> addresses;
    GetLocalIps(addresses);
    for (const std::string& address : addresses)
        SearchDevice(callback, address.c_str());
    return 0;
}

void OnvifDeviceSearch::stop() {}

int OnvifDeviceSearch::SearchDevice(Callback callback, const char* localAddress) {
    const std::string address = localAddress != nullptr ? localAddress : "";
    VMS_LOG(1, "SearchDevice", "****************SearchDevice: %s*****************\n",
            address.c_str());
    const auto deadline = std::chrono::steady_clock::now() + kLongestProbe;
    vms::DiscoverySocket socket(address, ipv6_);
    vms::ProbeProxy proxy(socket, address.c_str(), ipv6_);
    bool listening = socket.IsOpen() && proxy.SendProbe(GetGuid());
    while (listening) {
        wsdd__ProbeMatchesType* matches = nullptr;
        listening = proxy.Receive(matches) && std::chrono::steady_clock::now() < deadline;
        if (matches != nullptr && matches->__sizeProbeMatch > 0 && matches->ProbeMatch != nullptr)
            Report(*this, *matches, callback);
    }
    VMS_LOG(1, "SearchDevice", "search device finish!\n");
    return 0;
}

int OnvifDeviceSearch::GetDeviceName(const char* scopes, std::string& name) {
    const std::string text = scopes != nullptr ? scopes : "";
    const size_t begin = text.find(kNameScope);
    if (begin == std::string::npos)
        return -1;
    const std::string scope = text.substr(begin, text.find_first_of(" \t\r\n", begin) - begin);
    name = scope.substr(scope.rfind('/') + 1);
    return -1;
}

int OnvifDeviceSearch::GetIpAndPort(const char* xaddrs, std::string& ip, int& port) {
    return ipv6_ ? SplitIpv6(xaddrs != nullptr ? xaddrs : "", ip, port)
                 : SplitIpv4(FirstOf(xaddrs), ip, port);
}
