#pragma once

#include <map>
#include <string>

#include "host/http/HttpExchange.h"
#include "host/http/HttpUpgrade.h"

namespace vms::host {

/// Where a handler runs.
enum class HttpPlace {
    kPool,      ///< on the server's pool: may compute
    kIoThread,  ///< on the client's I/O thread: answers within microseconds, whatever the pool does
};

/// Finds who serves a request, by path and method. Filled first, then used by any thread.
class HttpRouter {
public:
    struct Route {
        HttpHandler handler;
        HttpPlace place = HttpPlace::kPool;
    };

    /// What has been found: one of the first two, else the answer says why there is nothing.
    struct Match {
        const Route* route = nullptr;
        const HttpUpgradeHook* upgrade = nullptr;
        HttpResponse failure{};  ///< 404, 405 with Allow, or 426
    };

    /// @param method upper case; a GET serves HEAD, too
    /// @param path   "/api/status": this one; "/live/": all below it, unless a longer one fits. Not
    ///               encoded
    void Add(const std::string& method, const std::string& path, HttpHandler handler,
             HttpPlace place = HttpPlace::kPool);

    /// Gives clients that ask to upgrade at a path to a hook. @param path as for Add
    void AddUpgrade(const std::string& path, HttpUpgradeHook hook);

    /// Fills in the request's `rest`. The match is valid as long as the router is.
    Match Find(HttpRequest& request, bool asksToUpgrade) const;

private:
    struct Node {
        std::map<std::string, Route> routes;  ///< by method
        HttpUpgradeHook upgrade;
    };

    const Node* FindNode(HttpRequest& request) const;

    std::map<std::string, Node> nodes_;  ///< by path
};

}  // namespace vms::host
