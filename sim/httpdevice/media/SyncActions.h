#pragma once

#include <optional>
#include <utility>

#include "sim/httpdevice/media/ActionRequest.h"

namespace vms::sim::httpdevice {

/// How a request went.
struct ActionResult {
    ActionResult(ResultCode result) : code(result) {}  // NOLINT
    ActionResult(ResultCode result, Json::Value value) : code(result), data(std::move(value)) {}

    ResultCode code;
    Json::Value data;
};

bool IsSyncControl(const std::string& action);

/// Carries out what controls a synchronous playback: all but "syncPlay".
ActionResult ControlSync(Device& device, Clock::time_point now, const ActionRequest& request);

/// The clock of a recording: where a window begins to play. @return nothing when nothing in the
/// window is recorded
std::optional<int64_t> StartOfWindow(const Timeline& timeline, int64_t wantedMs, int64_t beginMs,
                                     int64_t endMs, int fileType);

/// The factor of a speed request. @return nothing when it is no number from 0.125 to 16
std::optional<double> SpeedOf(const Json::Value& data, double fallback);

/// A time in the data (seconds), as milliseconds.
std::optional<int64_t> TimeMs(const Json::Value& data, const char* key,
                              std::optional<int64_t> fallback = std::nullopt);

}  // namespace vms::sim::httpdevice
