#include "host/http/HttpRouter.h"

#include <algorithm>
#include <utility>

namespace vms::host {
namespace {

/// "/a/b/" of the first two segments of /a/b/c; not encoded, so that what holds a "/" of its own
/// cannot pass for two.
std::string Prefix(const std::vector<std::string>& segments, size_t count) {
    std::string prefix = "/";
    for (size_t i = 0; i < count; ++i)
        prefix += segments[i] + "/";
    return prefix;
}

bool HoldsSlash(const std::string& segment) {
    return segment.find('/') != std::string::npos;
}

}  // namespace

void HttpRouter::Add(const std::string& method, const std::string& path, HttpHandler handler,
                     HttpPlace place) {
    nodes_[path].routes[method] = {std::move(handler), place};
}

void HttpRouter::AddUpgrade(const std::string& path, HttpUpgradeHook hook) {
    nodes_[path].upgrade = std::move(hook);
}

const HttpRouter::Node* HttpRouter::FindNode(HttpRequest& request) const {
    const auto& segments = request.segments;
    size_t plain = 0;  // segments that a path may be made of
    while (plain < segments.size() && !HoldsSlash(segments[plain]))
        ++plain;
    request.rest.clear();
    if (const auto whole = nodes_.find(request.path);
        plain == segments.size() && whole != nodes_.end() && request.path.back() != '/')
        return &whole->second;
    for (size_t count = std::min(plain, segments.size() - 1) + 1; count-- > 0;) {
        const auto prefix = nodes_.find(Prefix(segments, count));
        if (prefix == nodes_.end())
            continue;
        request.rest.assign(segments.begin() + static_cast<ssize_t>(count), segments.end());
        return &prefix->second;
    }
    return nullptr;
}

HttpRouter::Match HttpRouter::Find(HttpRequest& request, bool asksToUpgrade) const {
    const Node* const node = FindNode(request);
    if (node == nullptr)
        return {.failure = HttpFailure(404, "nothing is here")};
    if (asksToUpgrade && node->upgrade && request.method == "GET" && !request.isHead)
        return {.upgrade = &node->upgrade};
    if (const auto route = node->routes.find(request.method); route != node->routes.end())
        return {.route = &route->second};
    if (node->routes.empty()) {
        HttpResponse response = HttpFailure(426, "this is for WebSocket");
        response.headers = {{"Upgrade", "websocket"}, {"Connection", "Upgrade"}};
        return {.failure = std::move(response)};
    }
    std::string methods;
    for (const auto& [method, route] : node->routes)
        methods += (methods.empty() ? "" : ", ") + method + (method == "GET" ? ", HEAD" : "");
    HttpResponse response = HttpFailure(405, "use " + methods);
    response.headers["Allow"] = methods;
    return {.failure = std::move(response)};
}

}  // namespace vms::host
