#pragma once

#include <json/value.h>

#include "module/CommandRecord.h"
#include "videodevice/IVideoDevice.h"

namespace vms {

/// The operations behind the PTZ command: each reads its arguments from the command's body, makes
/// one call on the driver, and turns the response into a success when that gave 0 or more. Members
/// that are absent or of another type keep their defaults; the driver decides what to make of them.
using PtzOperation = void(IVideoDevice& device, int channel, const Json::Value& body,
                          __tagTvCommand& response);

PtzOperation PtzMove;
PtzOperation PtzGetSpeed;
/// A missing "speed" is a failure without a call.
PtzOperation PtzSetSpeed;

/// Presets, and what the head can do.
PtzOperation PtzGetPreset;
PtzOperation PtzAddPreset;
PtzOperation PtzDelPreset;
PtzOperation PtzCallPreset;

/// Cruises: a missing index is passed on as -1.
PtzOperation PtzGetCruise;
PtzOperation PtzAddCruise;
PtzOperation PtzDelCruise;
PtzOperation PtzStartCruise;
PtzOperation PtzStopCruise;

}  // namespace vms
