#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace vms {

/// Where and how to connect; every text is fit to go into an HTTP request.
struct ConnectionRequest {
    std::string host;      ///< name or address, without brackets
    uint16_t port = 0;     ///< 1..65535
    std::string path;      ///< begins with a slash
    std::string protocol;  ///< "" = none
    std::chrono::milliseconds timeout{};
    bool secure = false;

    /// As the Host field wants it.
    std::string Authority() const;
};

/// @param path     "" = "/", a missing leading slash is added
/// @param protocol null and "" = none
/// @return empty when an argument is unusable
std::optional<ConnectionRequest> MakeConnectionRequest(const char* host, int port, const char* path,
                                                       const char* protocol, int timeoutMs,
                                                       bool secure);

}  // namespace vms
