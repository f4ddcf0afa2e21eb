#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/net/Wire.h"

namespace vms::host {

/// What a request shows of whoever sends it.
struct RtspCredentials {
    std::string method;
    std::string uri;            ///< as it came, since digests are made over it; without an
                                ///< authorization that of the stream, without its track
    std::string authorization;  ///< header, "" = none
    Peer peer;
};

/// Whether it is let in.
struct RtspVerdict {
    int status = 200;                       ///< 200, or 401, 403 or 429
    std::vector<std::string> challenges{};  ///< of a 401: values of WWW-Authenticate, best first
    int retryAfter = 0;                     ///< of a 429, s; 0 = not told
    int64_t until = 0;  ///< of a 200: when it has to go, s since the epoch; 0 = never
};

/// Says who may watch. Whoever has been let in to a stream is not asked again in that connection.
/// Thread-safe.
class RtspAccess {
public:
    using Done = std::function<void(RtspVerdict)>;

    virtual ~RtspAccess() = default;

    /// @param done called once, on any thread, maybe inside the call; must not wait
    virtual void Check(const RtspCredentials& credentials, Done done) = 0;
};

/// Lets everybody in.
class OpenRtspAccess final : public RtspAccess {
public:
    void Check(const RtspCredentials&, Done done) override { done({}); }
};

}  // namespace vms::host
