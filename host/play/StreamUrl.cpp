#include "host/play/StreamUrl.h"

#include <charconv>

#include "host/text/HostError.h"

namespace vms::host {
namespace {

/// Takes ":port" off the end of an authority. @return 0 when there is none, -1 when it is none
int TakePort(std::string& authority) {
    const size_t colon = authority.rfind(':');
    const size_t bracket = authority.rfind(']');
    if (colon == std::string::npos || (bracket != std::string::npos && colon < bracket))
        return 0;
    int port = 0;
    const char* end = authority.data() + authority.size();
    const auto [stop, error] = std::from_chars(authority.data() + colon + 1, end, port);
    if (error != std::errc() || stop != end || port < 1 || port > 65535)
        return -1;
    authority.resize(colon);
    return port;
}

}  // namespace

StreamUrl ParseStreamUrl(const std::string& text) {
    StreamUrl url;
    url.secure = text.rfind("wss://", 0) == 0;
    if (!url.secure && text.rfind("ws://", 0) != 0)
        throw HostError("a stream URL begins with ws:// or wss://");
    const size_t begin = text.find("://") + 3;
    const size_t slash = text.find('/', begin);
    std::string authority = text.substr(begin, slash - begin);
    url.port = TakePort(authority);
    if (url.port < 0 || authority.empty())
        throw HostError("the stream URL has no proper host and port");
    if (url.port == 0)
        url.port = url.secure ? 443 : 80;
    if (authority.front() == '[' && authority.back() == ']')
        authority = authority.substr(1, authority.size() - 2);
    url.host = authority;
    url.path = slash == std::string::npos ? "/stream" : text.substr(slash);
    return url;
}

}  // namespace vms::host
