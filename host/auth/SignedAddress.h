#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/http/HttpExchange.h"

namespace vms::host {

/// Addresses that let their holder watch until they expire, for players that can send neither
/// header nor cookie: "expires" and "signature" in the query. What is signed is the decoded path
/// and query, so that a player may write both in another way. Thread-safe.
class SignedAddress {
public:
    static constexpr int64_t kLongest = 30 * 24 * 3600;  ///< s

    /// @param key of any length; whoever has it can sign
    explicit SignedAddress(std::string key) : key_(std::move(key)) {}

    /// @param target "/live/DEVICE/0.ts?stream=1", encoded, without "expires" and "signature"
    /// @param expires s since the epoch
    /// @return the target with both; nothing when it is no target or not of a stream
    std::optional<std::string> Sign(std::string_view target, int64_t expires) const;

    enum class Outcome {
        kUnsigned,  ///< has no signature
        kGood,
        kExpired,
        kWrong,
    };

    /// @param request its path, segments and query count. What a player of RTSP has appended behind
    /// the signature ("/streamid=0") does not
    Outcome Check(const HttpRequest& request, int64_t now) const;

private:
    std::string SignatureOf(const HttpRequest& request) const;

    const std::string key_;
};

/// Whether the path is one of /live, /play, /download, /stream.
bool IsStreamPath(const HttpRequest& request);

}  // namespace vms::host
