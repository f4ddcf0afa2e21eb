#pragma once

#include <cstdint>
#include <list>
#include <string>

/// One pan, tilt, zoom or lens movement. The codes belong to the device family.
struct __tagTvPtzParam {
    int32_t channel = 0;
    int32_t opt = 0;   ///< movement or lens operation
    int32_t turn = 0;  ///< direction
    int32_t is_add = 0;
    int32_t is_press = 0;
    int32_t speed = 0;
};

/// What a device's head can do; flags, 0 or 1. A driver that fills nothing reports a plain PTZ
/// head.
struct __tagTvPtzCapability {
    int32_t supportPtz = 1;
    int32_t supportOperture = 0;
    int32_t supportOnekeyFocus = 0;
    int32_t supportLenInit = 0;
    int32_t supportPosition3D = 0;
};

/// A stored position; also one stop of a cruise.
struct __tagTvPtzPresetParam {
    int32_t presetIdx = 0;
    std::string presetName;
    int32_t speed = 0;
    int32_t enablePreset = 0;     ///< 0 or 1
    int32_t readOnly = 0;         ///< 0 or 1
    int32_t presetDweelTime = 0;  ///< s, time at this stop of a cruise
};

/// A tour over presets.
struct __tagTvPtzCruiseParam {
    int32_t cruiseIdx = 0;
    int32_t enableCruise = 0;                  ///< 0 or 1
    std::list<__tagTvPtzPresetParam> presets;  ///< in visiting order
};
