#pragma once

#include <string>

namespace vms::host {

/// Where a player connects.
struct StreamUrl {
    bool secure = false;  ///< wss
    std::string host;     ///< without brackets
    int port = 0;         ///< 1..65535; 80 or 443 when the URL names none
    std::string path;     ///< with the query; "/stream" when the URL names none
};

/// Reads ws://host:port/path or wss://... @throws HostError
StreamUrl ParseStreamUrl(const std::string& text);

}  // namespace vms::host
