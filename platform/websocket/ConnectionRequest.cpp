#include "platform/websocket/ConnectionRequest.h"

#include <algorithm>
#include <string_view>

namespace vms {
namespace {

bool IsVisible(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c > ' ' && c < 0x7f; });
}

/// Letters, digits and the marks that RFC 7230 allows in a token.
bool IsToken(std::string_view text) {
    return IsVisible(text) && text.find_first_of("\"(),/:;<=>?@[\\]{}") == std::string_view::npos;
}

bool IsHost(std::string_view text) {
    return !text.empty() && IsVisible(text) &&
           text.find_first_of("/?#@[]\\") == std::string_view::npos;
}

std::string_view WithoutBrackets(std::string_view host) {
    const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    return bracketed ? host.substr(1, host.size() - 2) : host;
}

std::string WithSlash(std::string_view path) {
    std::string result(path);
    if (!result.starts_with('/'))
        result.insert(0, 1, '/');
    return result;
}

}  // namespace

std::string ConnectionRequest::Authority() const {
    const bool isIpv6 = host.find(':') != std::string::npos;
    // A zone means something on this machine only.
    const std::string name = isIpv6 ? "[" + host.substr(0, host.find('%')) + "]" : host;
    return name + ":" + std::to_string(port);
}

std::optional<ConnectionRequest> MakeConnectionRequest(const char* host, int port, const char* path,
                                                       const char* protocol, int timeoutMs,
                                                       bool secure) {
    const std::string_view name = WithoutBrackets(host != nullptr ? host : "");
    const std::string_view target = path != nullptr ? path : "";
    const std::string_view offered = protocol != nullptr ? protocol : "";
    if (!IsHost(name) || port < 1 || port > 65535 || timeoutMs < 1)
        return std::nullopt;
    if (!IsVisible(target) || !IsToken(offered))
        return std::nullopt;
    return ConnectionRequest{
        std::string(name),    static_cast<uint16_t>(port),          WithSlash(target),
        std::string(offered), std::chrono::milliseconds(timeoutMs), secure};
}

}  // namespace vms
