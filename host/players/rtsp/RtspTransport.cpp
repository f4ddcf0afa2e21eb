#include "host/players/rtsp/RtspTransport.h"

#include <algorithm>
#include <charconv>

#include "host/http/HttpText.h"

namespace vms::host {
namespace {

/// The ports below belong to services, which no player is.
constexpr int kLowestPort = 1024;
constexpr int kHighestPort = 65535;

/// Takes all up to a mark off the text.
std::string_view TakePart(std::string_view& text, char mark) {
    const size_t end = std::min(text.find(mark), text.size());
    std::string_view part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const size_t begin = std::min(part.find_first_not_of(" \t"), part.size());
    part.remove_prefix(begin);
    return part.substr(0, part.find_last_not_of(" \t") + 1);
}

bool ReadPort(std::string_view text, int& port) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && end == text.data() + text.size() && port >= 0 &&
           port <= kHighestPort;
}

/// "5000-5001", or the first of the two.
bool ReadPorts(std::string_view text, RtspTransport& transport) {
    const std::string_view first = TakePart(text, '-');
    if (!ReadPort(first, transport.rtpPort))
        return false;
    if (!text.empty())
        return ReadPort(text, transport.rtcpPort);
    transport.rtcpPort = transport.rtpPort + 1;
    return transport.rtcpPort <= kHighestPort;
}

bool IsServicePort(const RtspTransport& transport) {
    return std::min(transport.rtpPort, transport.rtcpPort) < kLowestPort;
}

/// @return as ChooseRtspTransport
int ReadOffer(std::string_view offer, std::string_view peer, RtspTransport& transport) {
    const std::string_view protocol = TakePart(offer, ';');
    transport = {};
    transport.isTcp = SameLetters(protocol, "RTP/AVP/TCP");
    if (!transport.isTcp && !SameLetters(protocol, "RTP/AVP") &&
        !SameLetters(protocol, "RTP/AVP/UDP"))
        return 461;
    bool isElsewhere = false;
    while (!offer.empty()) {
        std::string_view value = TakePart(offer, ';');
        const std::string_view name = TakePart(value, '=');
        if (SameLetters(name, "multicast"))
            return 461;
        if (SameLetters(name, "client_port") && !ReadPorts(value, transport))
            return 461;
        if (SameLetters(name, "mode") && !SameLetters(value, "play") &&
            !SameLetters(value, "\"play\""))
            return 461;
        if (SameLetters(name, "destination"))
            isElsewhere = value != peer;
    }
    if (transport.isTcp)
        return 200;
    if (isElsewhere)
        return 403;
    if (transport.rtpPort == 0)
        return 461;
    return IsServicePort(transport) ? 403 : 200;
}

}  // namespace

int ChooseRtspTransport(std::string_view header, std::string_view peer, RtspTransport& transport) {
    int status = 461;
    while (!header.empty()) {
        const int verdict = ReadOffer(TakePart(header, ','), peer, transport);
        if (verdict == 200)
            return verdict;
        status = verdict == 403 ? verdict : status;
    }
    return status;
}

}  // namespace vms::host
