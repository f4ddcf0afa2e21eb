#pragma once

#include <json/value.h>

#include <list>
#include <string>

#include "drivers/httpdevice/device/DeviceProfile.h"
#include "module/PtzRecords.h"

namespace vms::httpdevice {

/// A request of the PTZ endpoints: where it goes and what it says.
struct PtzRequest {
    enum class Place { kHead, kLens, kCruise };

    Place place = Place::kHead;
    std::string action = "set";
    Json::Value data;

    std::string Body() const;
    /// Cameras and recorders have endpoints of their own.
    std::string Url(const DeviceAddress& address, const DeviceProfile& profile) const;
};

/// The codes of a movement, see docs/httpdevice.md.
/// @return false for codes that mean nothing here
bool MakeMovement(const __tagTvPtzParam& param, PtzRequest& request);

Json::Value PresetToJson(const __tagTvPtzPresetParam& preset);
Json::Value CruiseToJson(const __tagTvPtzCruiseParam& cruise);
std::list<__tagTvPtzPresetParam> PresetsFromJson(const Json::Value& list);
__tagTvPtzCruiseParam CruiseFromJson(const Json::Value& cruise);

}  // namespace vms::httpdevice
