#include "host/http/HttpAccess.h"

#include <arpa/inet.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <utility>

#include "host/http/HttpText.h"

namespace vms::host {
namespace {

constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;

/// Takes as long for a wrong text as for the right one.
bool SameSecret(std::string_view one, std::string_view other) {
    return one.size() == other.size() && CRYPTO_memcmp(one.data(), other.data(), one.size()) == 0;
}

std::string_view TokenOf(const HttpRequest& request) {
    static constexpr std::string_view kScheme = "Bearer ";
    std::string_view text = request.authorization;
    if (SameLetters(text.substr(0, kScheme.size()), kScheme)) {
        text.remove_prefix(kScheme.size());
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        return text;
    }
    const auto inQuery = request.query.find("token");
    return inQuery == request.query.end() ? std::string_view() : inQuery->second;
}

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

HttpAccess::HttpAccess(std::string token, const std::set<std::string>& names)
    : token_(std::move(token)) {
    for (const std::string& name : names)
        names_.insert(LowerCase(name));
}

bool HttpAccess::IsOwnName(const std::string& host) const {
    if (host.empty())
        return true;  // of no browser
    const std::string name = LowerCase(WithoutPort(host));
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

HttpGate HttpAccess::Gate() const {
    return [access = *this](const HttpRequest& head, const std::function<void(int)>& done) {
        done(access.Refusal(head));
    };
}

}  // namespace vms::host
