#pragma once

#include "platform/WebSocketSettings.h"

namespace vms {

/// The same with every value moved into its range. Re-entrant.
WebSocketSettings InRange(WebSocketSettings settings);

}  // namespace vms
