#pragma once

#include <string>

#include "host/players/PlayerInfo.h"

namespace vms::host {

/// Figures of stream server, bus and process in the text format of Prometheus, version 0.0.4.
std::string MetricsText(const StreamSummary& streams);

}  // namespace vms::host
