#pragma once

#include <string>

namespace vms {

/// How long a URL may become.
enum class UrlLength {
    kAny,
    k255,  ///< cut there, like texts in fixed buffers of 256 bytes
};

/// Where one kind of request goes.
struct ApiEndpoint {
    const char* path;
    UrlLength length;
};

/// @param ip inserted as it is; null counts as empty
std::string MakeUrl(const ApiEndpoint& endpoint, const char* ip, int port, bool https);

}  // namespace vms
