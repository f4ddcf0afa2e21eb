#pragma once

#include <map>
#include <string>
#include <utility>

#include "host/http/HttpExchange.h"

namespace vms {

/// Finds the handler of a request by its path. Filled first, then used by any thread.
class HttpRouter {
public:
    /// @param method "GET" or "POST"
    void Add(const std::string& method, const std::string& path, HttpHandler handler);

    /// Has the request served, or answers 404 or 405.
    void Serve(const HttpRequest& request, HttpReply& reply) const;

private:
    struct Route {
        std::string method;
        HttpHandler handler;
    };
    std::map<std::string, Route> routes_;  ///< by path
};

}  // namespace vms
