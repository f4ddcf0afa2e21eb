#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/auth/Credentials.h"
#include "host/auth/DigestHeader.h"
#include "platform/Mutex.h"

namespace vms::host {

/// The response of whoever knows the secret (RFC 7616, 3.4.1; without qop RFC 2069, 2.1.2).
std::string DigestResponse(const DigestHeader& header, std::string_view method,
                           const DigestSecret& secret);

/// Digest access (RFC 7616) with MD5 and SHA-256, for HTTP and RTSP. Nonces are not remembered:
/// each carries its time and the address it was given to, signed. A count that has been used is
/// refused, so that what was overheard cannot be sent again; players that send no count (RFC 2069,
/// as many of RTSP do) are let in while their nonce is young. Thread-safe.
class DigestAccess {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    static constexpr std::chrono::seconds kNonce{300};     ///< how long one is good
    static constexpr std::chrono::seconds kUncounted{60};  ///< the same, without counts
    static constexpr size_t kCounted = 4096;               ///< nonces whose count is kept

    enum class Outcome {
        kGood,
        kStale,  ///< the nonce is not good any more: the same login with a new one will do
        kWrong,  ///< secret, address or form
    };

    explicit DigestAccess(std::string realm);

    /// Values for WWW-Authenticate headers, each one a line of its own, in this order: players take
    /// the first that they know, or the last.
    /// @param peer numeric address @param isStale after Outcome::kStale
    std::vector<std::string> Challenges(const std::string& peer, bool isStale, Time now) const;

    /// @param header as it was read @param method as it was sent
    /// @param secrets that would do, of the header's user name; all are tried
    /// @param matched the number of the one that did
    Outcome Check(const DigestHeader& header, std::string_view method, const std::string& peer,
                  const std::vector<DigestSecret>& secrets, Time now, size_t& matched)
        VMS_EXCLUDES(mutex_);

private:
    std::string MakeNonce(const std::string& peer, Time now) const;
    bool IsOurs(const std::string& nonce, const std::string& peer, int64_t& made) const;
    bool CountIsNew(const std::string& nonce, int64_t made, uint32_t count) VMS_EXCLUDES(mutex_);
    int64_t MillisecondsAt(Time now) const;

    const std::string realm_;
    const std::string key_;  ///< of this process: nonces do not survive it
    const Time epoch_;
    const std::vector<DigestSecret> nobodys_;
    Mutex mutex_;
    struct Counted {
        std::string nonce;
        uint32_t latest = 0;
    };
    /// By the time they were made.
    std::multimap<int64_t, Counted> counted_ VMS_GUARDED_BY(mutex_);
    int64_t forgotten_ VMS_GUARDED_BY(mutex_) = -1;  ///< nonces made then or before are stale
};

}  // namespace vms::host
