#pragma once

#include <set>
#include <string>

#include "host/http/HttpExchange.h"

namespace vms::host {

/// Tells what a browser sends on behalf of another site. Thread-safe.
class HttpOrigins {
public:
    /// @param names by which this host may be asked, beside localhost and its addresses; "" means
    /// none; their case does not count
    explicit HttpOrigins(const std::set<std::string>& names);

    /// Whether a page of another site asks: it has an Origin that is not where the request went.
    static bool IsForeign(const HttpRequest& request);

    /// Whether a page of this host asks, for certain.
    static bool IsOwn(const HttpRequest& request);

    /// Whether the request went to a name of ours, not to one that a page of another site has had
    /// resolved to our address.
    bool IsOwnName(const HttpRequest& request) const;

private:
    std::set<std::string> names_;  ///< in lower case
};

}  // namespace vms::host
