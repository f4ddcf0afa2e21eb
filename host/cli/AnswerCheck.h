#pragma once

#include <string>

#include "host/modules/BusClient.h"
#include "host/process/LogSink.h"

namespace vms::host {

/// What became of a request that did not succeed, for a person: why, and the module's last log
/// line.
/// @param asked what was asked of whom, such as "preview URL of camera 10.0.0.5:80"
std::string FailureText(const Answer& answer, const std::string& asked, const LogSink& log);

/// @throws HostError with that text unless the answer is a success
void RequireSuccess(const Answer& answer, const std::string& asked, const LogSink& log);

}  // namespace vms::host
