#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/net/Wire.h"

namespace vms::host {

/// What a request shows of whoever sends it.
struct RtspCredentials {
    std::string method;
    std::string uri;            ///< as it came: digests are made over it
    std::string authorization;  ///< header, "" = none
    Peer peer;
};

/// Whether it is let in.
struct RtspVerdict {
    int status = 200;                       ///< 200, or 401, 403 or 429
    std::vector<std::string> challenges{};  ///< of a 401: values of WWW-Authenticate, best first
};

/// Says who may watch. Thread-safe.
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
