#include "host/api/ApiError.h"

#include <utility>

#include "host/text/HostError.h"

namespace vms::host {

HttpResponse CurrentFailure() {
    try {
        throw;
    } catch (const ApiError& error) {
        return HttpFailure(error.Status(), error.what());
    } catch (const HostError& error) {
        return HttpFailure(500, error.what());
    } catch (const std::exception&) {
        return HttpFailure(500, "the request failed");
    }
}

HttpHandler Answering(ApiHandler handler) {
    return [handler = std::move(handler)](const HttpRequest& request,
                                          const std::shared_ptr<HttpReply>& reply) {
        try {
            handler(request, reply);
        } catch (const std::exception&) {
            reply->Send(CurrentFailure());
        }
    };
}

}  // namespace vms::host
