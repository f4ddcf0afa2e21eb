#include "host/http/HttpRouter.h"

namespace vms {

void HttpRouter::Add(const std::string& method, const std::string& path, HttpHandler handler) {
    routes_[path] = {method, std::move(handler)};
}

void HttpRouter::Serve(const HttpRequest& request, HttpReply& reply) const {
    const auto route = routes_.find(request.path);
    if (route == routes_.end()) {
        reply.Send(HttpFailure(404, "nothing is here"));
    } else if (route->second.method != request.method) {
        HttpResponse response = HttpFailure(405, "use " + route->second.method);
        response.headers["Allow"] = route->second.method;
        reply.Send(response);
    } else {
        route->second.handler(request, reply);
    }
}

}  // namespace vms
