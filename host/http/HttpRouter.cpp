#include "host/http/HttpRouter.h"

#include <utility>

namespace vms {

void HttpRouter::Add(const std::string& method, const std::string& path, HttpHandler handler) {
    routes_[path][method] = std::move(handler);
}

void HttpRouter::Serve(const HttpRequest& request, HttpReply& reply) const {
    const auto route = routes_.find(request.path);
    if (route == routes_.end()) {
        reply.Send(HttpFailure(404, "nothing is here"));
        return;
    }
    if (const auto found = route->second.find(request.method); found != route->second.end()) {
        found->second(request, reply);
        return;
    }
    std::string allowed;
    for (const auto& [method, handler] : route->second)
        allowed += (allowed.empty() ? "" : ", ") + method;
    HttpResponse response = HttpFailure(405, "use " + allowed);
    response.headers["Allow"] = allowed;
    reply.Send(response);
}

}  // namespace vms
