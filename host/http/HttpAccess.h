#pragma once

#include <set>
#include <string>

#include "host/http/HttpGate.h"

namespace vms::host {

/// Who may use the API and the streams. Thread-safe.
class HttpAccess {
public:
    /// @param token secret that every request must bring, "" = open to whoever can connect
    /// @param names by which this host may be asked, beside localhost and its addresses; "" means
    /// none; their case does not count
    HttpAccess(std::string token, const std::set<std::string>& names);

    /// A token travels as "Authorization: Bearer T" or as ?token=T. Pages of other sites, which a
    /// browser marks with an Origin that is not ours, are refused; so are, without a token,
    /// requests to a name that is not ours, which such a page can have resolved to our address.
    /// Health is open to all.
    /// @return 0 = welcome, else the status to answer: 401 or 403
    int Refusal(const HttpRequest& request) const;

    /// These rules as a gate of their own, which need not be outlived.
    HttpGate Gate() const;

private:
    bool IsOwnName(const std::string& host) const;

    std::string token_;
    std::set<std::string> names_;  ///< in lower case
};

}  // namespace vms::host
