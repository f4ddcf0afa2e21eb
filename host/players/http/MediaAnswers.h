#pragma once

#include "host/http/HttpExchange.h"
#include "host/sources/SourceProblem.h"
#include "media/mux/LiveMuxer.h"

namespace vms::host {

/// The head of an answer that is a container; its bytes are what it says, not what they look like.
HttpResponse MediaHead(LiveContainer container);

/// Why there is no stream.
HttpResponse ProblemAnswer(const SourceProblem& problem);

}  // namespace vms::host
