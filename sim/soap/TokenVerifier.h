#pragma once

#include <cstdint>
#include <ctime>
#include <deque>
#include <optional>
#include <string>
#include <unordered_set>

#include "platform/Mutex.h"
#include "sim/soap/UsernameToken.h"

namespace vms::sim {

/// Checks login tokens the way a camera does. Safe to call from several threads.
class TokenVerifier {
public:
    enum class Result {
        kAccepted,
        kMissing,
        kWrongUser,
        kNotDigest,
        kBadNonce,
        kStale,
        kWrongDigest,
        kReplayed
    };

    /// Seconds that a token may be older or newer than the camera's clock.
    static constexpr int kWindow = 300;
    /// Nonces remembered; the oldest gives way.
    static constexpr size_t kMaxNonces = 4096;

    TokenVerifier(std::string user, std::string password)
        : user_(std::move(user)), password_(std::move(password)) {}

    /// @param now the camera's clock
    Result Verify(const std::optional<UsernameToken>& token, std::time_t now);

    static const char* Name(Result result);

private:
    struct Seen {
        std::time_t expires;
        std::string key;
    };

    bool Remember(const std::string& key, std::time_t now) VMS_EXCLUDES(mutex_);
    void ForgetOldest() VMS_REQUIRES(mutex_);

    const std::string user_;
    const std::string password_;

    Mutex mutex_;
    std::deque<Seen> order_ VMS_GUARDED_BY(mutex_);
    std::unordered_set<std::string> seen_ VMS_GUARDED_BY(mutex_);
};

/// Time of an xsd:dateTime in UTC such as 2024-05-01T12:00:00.123Z; nothing when it is none.
std::optional<std::time_t> ParseUtc(const std::string& text);

}  // namespace vms::sim
