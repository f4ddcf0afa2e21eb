#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

namespace vms::host {

/// A movement by its plain name, as modules have it.
struct PtzAction {
    const char* name;
    int operation;      ///< 0 turn, 1 zoom, 2 focus, 3 iris, 4 focusing once, 5 lens initialisation
    int turn;           ///< of operation 0: 1 up ... 8 right down
    int more;           ///< of 1 to 3: 1 more, 0 less
    bool isContinuous;  ///< goes on until it is stopped

    /// The member "contrl" of a module's request. @param speed 0 = the device's choice
    Json::Value Control(bool begins, int speed) const;
};

/// @return null when there is no movement of that name
const PtzAction* FindPtzAction(std::string_view name);

/// All names, separated by commas.
std::string PtzActionNames();

/// The body of a module's PTZ request. @param action 0 to 11: move, read speed, set speed, read,
/// add, delete and call presets, read, add, delete, start and stop cruises
Json::Value PtzBody(const std::string& device, int channel, int action);

enum PtzRequestKind {
    kPtzMove,
    kPtzReadSpeed,
    kPtzSetSpeed,
    kPtzReadPresets,
    kPtzPutPreset,
    kPtzDeletePreset,
    kPtzCallPreset,
    kPtzReadCruise,
    kPtzPutCruise,
    kPtzDeleteCruise,
    kPtzStartCruise,
    kPtzStopCruise,
};

}  // namespace vms::host
