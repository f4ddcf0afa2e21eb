#pragma once

#include <json/value.h>

namespace vms::host {

/// What leads from one device list to another.
struct DeviceChanges {
    Json::Value gone{Json::arrayValue};   ///< devices to take off: missing or changed ones
    Json::Value added{Json::arrayValue};  ///< devices to take in: new or changed ones
    Json::Value kept{Json::arrayValue};   ///< devices that stay as they are
};

/// Compares two arrays of device descriptions by their "id" and content.
DeviceChanges CompareDevices(const Json::Value& before, const Json::Value& after);

}  // namespace vms::host
