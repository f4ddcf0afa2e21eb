#include "deviceapi/core/ApiEndpoint.h"

#include <array>
#include <cstdio>

#include "deviceapi/core/Text.h"

namespace vms {
namespace {

constexpr size_t kUrlBuffer = 256;

std::string FormatUrl(const char* scheme, const char* ip, int port, const char* path) {
    std::array<char, kUrlBuffer> url{};
    std::snprintf(url.data(), url.size(), "%s%s:%d%s", scheme, ip, port, path);
    return url.data();
}

}  // namespace

std::string MakeUrl(const ApiEndpoint& endpoint, const char* ip, int port, bool https) {
    const char* const scheme = https ? "https://" : "http://";
    if (endpoint.length == UrlLength::k255)
        return FormatUrl(scheme, ip != nullptr ? ip : "", port, endpoint.path);
    return Concat({scheme, TextOf(ip), ":", std::to_string(port), endpoint.path});
}

}  // namespace vms
