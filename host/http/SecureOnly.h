#pragma once

#include "host/http/HttpExchange.h"

namespace vms::host {

/// What is answered to a request that came without TLS where TLS is spoken: a redirect to the same
/// place by https, which a browser or player follows. Not so what must not be repeated unseen, or
/// has brought a secret: whoever sends that in the clear is to notice, and gets a 400 that says so.
HttpResponse SendToTls(const HttpRequest& request);

}  // namespace vms::host
