// Discovery answers as datagrams on loopback, read through the generated proxy, then the text rules
// for names and addresses.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "onvif/DiscoverySocket.h"
#include "onvif/OnvifDeviceSearch.h"
#include "onvif/ProbeProxy.h"

namespace {

constexpr size_t kMaxDatagram = 65000;

/// Sends datagrams to a discovery socket as a camera would.
class Camera {
public:
    explicit Camera(const vms::DiscoverySocket& socket) : fd_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in peer{};
        socklen_t length = sizeof peer;
        getsockname(socket.Descriptor(), reinterpret_cast<sockaddr*>(&peer), &length);
        connect(fd_, reinterpret_cast<const sockaddr*>(&peer), length);
    }
    ~Camera() { close(fd_); }
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    bool Send(const uint8_t* data, size_t size) const {
        return send(fd_, data, size, 0) == static_cast<ssize_t>(size);
    }

private:
    int fd_;
};

void ReadTexts(const char* scopes, const char* xaddrs) {
    std::string name;
    std::string ip;
    int port = 0;
    for (const bool ipv6 : {false, true}) {
        OnvifDeviceSearch search(ipv6);
        search.GetDeviceName(scopes, name);
        search.GetIpAndPort(xaddrs, ip, port);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static vms::DiscoverySocket socket("127.0.0.1", false);
    static const Camera camera(socket);
    if (size > kMaxDatagram || !camera.Send(data, size))
        return 0;
    vms::ProbeProxy proxy(socket, "127.0.0.1", false);
    wsdd__ProbeMatchesType* matches = nullptr;
    if (proxy.Receive(matches) && matches != nullptr && matches->__sizeProbeMatch > 0) {
        const wsdd__ProbeMatchType& match = matches->ProbeMatch[0];
        ReadTexts(match.Scopes != nullptr ? match.Scopes->__item : nullptr, match.XAddrs);
    }
    const std::string text(reinterpret_cast<const char*>(data), size);
    ReadTexts(text.c_str(), text.c_str());
    return 0;
}
