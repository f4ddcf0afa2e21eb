#include "host/http/HttpAccess.h"

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

}  // namespace

int HttpAccess::Refusal(const HttpRequest& request) const {
    if (request.path == "/healthz")
        return 0;
    if (!request.origin.empty() && !IsOwnOrigin(request.origin, request.host))
        return kForbidden;
    return token_.empty() || SameSecret(TokenOf(request), token_) ? 0 : kUnauthorized;
}

}  // namespace vms
