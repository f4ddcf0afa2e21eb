#include "host/http/HttpAccess.h"

#include <arpa/inet.h>
#include <openssl/crypto.h>

namespace vms {
namespace {

constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;

/// Takes as long for a wrong text as for the right one.
bool SameSecret(const std::string& one, const std::string& other) {
    return one.size() == other.size() && CRYPTO_memcmp(one.data(), other.data(), one.size()) == 0;
}

std::string TokenOf(const HttpRequest& request) {
    static constexpr char kScheme[] = "Bearer ";
    if (request.authorization.rfind(kScheme, 0) == 0)
        return request.authorization.substr(sizeof kScheme - 1);
    const auto inQuery = request.query.find("token");
    return inQuery == request.query.end() ? std::string() : inQuery->second;
}

/// "http://host:port" names the host the request came to.
bool IsOwnOrigin(const std::string& origin, const std::string& host) {
    const size_t slashes = origin.find("://");
    return slashes != std::string::npos && origin.substr(slashes + 3) == host;
}

/// Of "name", "name:port" or "[address]:port".
std::string WithoutPort(const std::string& host) {
    if (host.rfind('[', 0) == 0)
        return host.substr(1, host.find(']') - 1);
    return host.substr(0, host.find(':'));
}

bool IsAddress(const std::string& name) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(AF_INET, name.c_str(), address) == 1 ||
           inet_pton(AF_INET6, name.c_str(), address) == 1;
}

}  // namespace

bool HttpAccess::IsOwnName(const std::string& host) const {
    if (host.empty())
        return true;  // of no browser
    const std::string name = WithoutPort(host);
    return !name.empty() && (name == "localhost" || IsAddress(name) || names_.count(name) != 0);
}

int HttpAccess::Refusal(const HttpRequest& request) const {
    if (request.path == "/healthz")
        return 0;
    if (!request.origin.empty() && !IsOwnOrigin(request.origin, request.host))
        return kForbidden;
    if (token_.empty())
        return IsOwnName(request.host) ? 0 : kForbidden;
    return SameSecret(TokenOf(request), token_) ? 0 : kUnauthorized;
}

}  // namespace vms
