#pragma once

#include <json/value.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "host/play/PlayerLink.h"

namespace vms::host {

/// Where a running host is and what it is shown.
struct HostAccess {
    std::string url;        ///< http:// or https://, "" = the environment's VMS_URL, else
                            ///< http://127.0.0.1:8080
    std::string tokenFile;  ///< its first line is the token; "" = the environment's VMS_TOKEN
    LinkTrust trust;        ///< of an https host
};

/// Asks a running host over its HTTP API. Thread-bound.
class HostClient {
public:
    using Query = std::map<std::string, std::string>;

    /// As much of an answer is taken.
    static constexpr size_t kMostBytes = size_t{64} << 20;

    /// @throws HostError when the address or the token file is no good
    explicit HostClient(const HostAccess& access);
    ~HostClient();
    HostClient(const HostClient&) = delete;
    HostClient& operator=(const HostClient&) = delete;

    // @param path encoded, such as "/api/devices"
    // @throws HostError with the host's own words, or why it cannot be reached

    Json::Value Get(const std::string& path, const Query& query = {});
    Json::Value Post(const std::string& path, const Json::Value& body);
    /// The bytes of what is no JSON.
    std::string GetBytes(const std::string& path, const Query& query = {});

    /// Without a slash at its end.
    const std::string& Base() const { return base_; }

    /// The same place for another protocol: "ws" becomes "wss" where the host speaks https.
    std::string Address(const std::string& scheme, const std::string& path,
                        const Query& query = {}) const;

    /// "" = none.
    const std::string& Token() const { return token_; }

    /// The host's name or address alone, an IPv6 address in brackets.
    std::string HostName() const;

    static std::string QueryText(const Query& query);

private:
    struct Transfer;

    std::string Exchange(const std::string& method, const std::string& url,
                         const std::string& body);

    const HostAccess access_;
    std::string base_;
    std::string token_;
    const std::unique_ptr<Transfer> transfer_;
};

}  // namespace vms::host
