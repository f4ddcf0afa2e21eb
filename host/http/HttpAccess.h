#pragma once

#include <string>

#include "host/http/HttpExchange.h"

namespace vms {

/// Who may use the API and the streams. Thread-safe.
class HttpAccess {
public:
    /// @param token secret that every request must bring, "" = open to whoever can connect
    explicit HttpAccess(std::string token) : token_(std::move(token)) {}

    /// A token travels as "Authorization: Bearer T" or as ?token=T. Pages of other sites, which a
    /// browser marks with an Origin that is not ours, are refused. Health is open to all.
    /// @return 0 = welcome, else the status to answer: 401 or 403
    int Refusal(const HttpRequest& request) const;

private:
    const std::string token_;
};

}  // namespace vms
