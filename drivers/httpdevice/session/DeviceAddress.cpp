#include "drivers/httpdevice/session/DeviceAddress.h"

#include <string_view>

namespace vms::httpdevice {
namespace {

constexpr int kHttpPort = 80;
constexpr int kHttpsPort = 443;
constexpr std::string_view kPlainScheme = "http://";

std::string HostForUrl(const std::string& ip) {
    const bool bareIpv6 = ip.find(':') != std::string::npos && ip.front() != '[';
    return bareIpv6 ? "[" + ip + "]" : ip;
}

}  // namespace

DeviceAddress::DeviceAddress(const __tagTvVideoParam& device)
    : device_(device), host_(HostForUrl(device.ip)) {
    if (device_.port == 0)
        device_.port = device_.httpsEnable ? kHttpsPort : kHttpPort;
    if (device_.httpPort == 0)
        device_.httpPort = device_.httpsEnable ? kHttpPort : device_.port;
    label_ = device_.id + " (" + host_ + ":" + std::to_string(device_.port) + ")";
}

__tagTvVideoParam DeviceAddress::EventDescription() const {
    __tagTvVideoParam events = device_;
    if (device_.httpsEnable)
        events.port = device_.httpPort;
    return events;
}

std::string DeviceAddress::Url(std::string (*builder)(const char*, int, bool)) const {
    return builder(host_.c_str(), device_.port, device_.httpsEnable);
}

std::string DeviceAddress::Url(std::string (*builder)(const char*, int)) const {
    std::string url = builder(host_.c_str(), device_.port);
    if (device_.httpsEnable && url.starts_with(kPlainScheme))
        url.insert(kPlainScheme.find(':'), "s");
    return url;
}

std::string DeviceAddress::UrlOfPath(const std::string& path) const {
    return (device_.httpsEnable ? "https://" : "http://") + host_ + ":" +
           std::to_string(device_.port) + path;
}

}  // namespace vms::httpdevice
