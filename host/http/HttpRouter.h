#pragma once

#include <map>
#include <string>

#include "host/http/HttpExchange.h"

namespace vms {

/// Finds the handler of a request by its path and method. Filled first, then used by any thread.
class HttpRouter {
public:
    /// A path may have any number of methods; the latest handler of one stays.
    /// @param method in capitals, such as "GET"
    void Add(const std::string& method, const std::string& path, HttpHandler handler);

    /// Has the request served, or answers 404, or 405 with the methods that the path has.
    void Serve(const HttpRequest& request, HttpReply& reply) const;

private:
    using Methods = std::map<std::string, HttpHandler>;

    std::map<std::string, Methods> routes_;  ///< by path
};

}  // namespace vms
