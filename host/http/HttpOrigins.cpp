#include "host/http/HttpOrigins.h"

#include <arpa/inet.h>

#include "host/http/HttpText.h"

namespace vms::host {
namespace {

/// "http://host:port" names the host the request came to.
bool IsOwnOrigin(std::string_view origin, std::string_view host) {
    const size_t slashes = origin.find("://");
    return slashes != origin.npos && SameLetters(origin.substr(slashes + 3), host);
}

/// Of "name", "name:port" or "[address]:port"; "" when it is none of these.
std::string WithoutPort(const std::string& host) {
    if (host.rfind('[', 0) != 0)
        return host.substr(0, host.find(':'));
    const size_t end = host.find(']');
    return end == std::string::npos ? std::string() : host.substr(1, end - 1);
}

bool IsAddress(const std::string& name) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(AF_INET, name.c_str(), address) == 1 ||
           inet_pton(AF_INET6, name.c_str(), address) == 1;
}

}  // namespace

HttpOrigins::HttpOrigins(const std::set<std::string>& names) {
    for (const std::string& name : names)
        names_.insert(LowerCase(name));
}

bool HttpOrigins::IsForeign(const HttpRequest& request) {
    return !request.origin.empty() && !IsOwnOrigin(request.origin, request.host);
}

bool HttpOrigins::IsOwn(const HttpRequest& request) {
    return request.origin.empty() ? SameLetters(request.Header("Sec-Fetch-Site"), "same-origin")
                                  : IsOwnOrigin(request.origin, request.host);
}

bool HttpOrigins::IsOwnName(const HttpRequest& request) const {
    if (request.host.empty())
        return true;  // of no browser
    const std::string name = LowerCase(WithoutPort(request.host));
    return !name.empty() && (name == "localhost" || IsAddress(name) || names_.count(name) != 0);
}

}  // namespace vms::host
