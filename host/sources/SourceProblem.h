#pragma once

#include <string>

#include "host/modules/BusClient.h"

namespace vms::host {

/// Why a stream cannot be had.
struct SourceProblem {
    int status = 0;    ///< as HTTP counts: 404, 409, 502, 503 or 504; 0 = there is none
    std::string text;  ///< a sentence without its full stop, for users
};

/// What an answer that is no success says of the stream that was asked for.
SourceProblem ProblemOf(const Answer& answer);

}  // namespace vms::host
