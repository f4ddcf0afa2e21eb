#include "host/http/SecureOnly.h"

#include <algorithm>
#include <cctype>

namespace vms::host {
namespace {

/// A name or address and maybe a port: nothing that would lead elsewhere in a URL.
bool IsPlainAuthority(const std::string& host) {
    return !host.empty() && std::all_of(host.begin(), host.end(), [](unsigned char letter) {
        return std::isalnum(letter) || letter == '.' || letter == '-' || letter == ':' ||
               letter == '[' || letter == ']' || letter == '_';
    });
}

bool HasSecret(const HttpRequest& request) {
    return !request.authorization.empty() || request.query.count("token") != 0;
}

}  // namespace

HttpResponse SendToTls(const HttpRequest& request) {
    if (HasSecret(request))
        return HttpFailure(400,
                           "this port speaks https: the secret of this request has crossed "
                           "the network in the clear, use a new one");
    const bool canFollow = request.method == "GET" && IsPlainAuthority(request.host) &&
                           request.target.rfind('/', 0) == 0;
    if (!canFollow)
        return HttpFailure(400, "this port speaks https");
    HttpResponse response = HttpFailure(308, "this port speaks https");
    response.headers["Location"] = "https://" + request.host + request.target;
    return response;
}

}  // namespace vms::host
