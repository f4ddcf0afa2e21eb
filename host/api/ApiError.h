#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "host/http/HttpExchange.h"

namespace vms::host {

/// Why a request of the API is not carried out: the status and the words to answer.
class ApiError : public std::runtime_error {
public:
    ApiError(int status, const std::string& text) : std::runtime_error(text), status_(status) {}

    int Status() const { return status_; }

private:
    int status_;
};

/// Serves a request, or throws ApiError.
using ApiHandler = std::function<void(const HttpRequest&, const std::shared_ptr<HttpReply>&)>;

/// A handler that answers what is thrown: ApiError as it says, other exceptions with 500.
HttpHandler Answering(ApiHandler handler);

/// The answer to an exception that is being handled.
HttpResponse CurrentFailure();

}  // namespace vms::host
