#include "host/DeviceChanges.h"

#include <map>
#include <string>

namespace vms {
namespace {

std::map<std::string, Json::Value> ById(const Json::Value& devices) {
    std::map<std::string, Json::Value> byId;
    for (const Json::Value& device : devices)
        byId.emplace(device["id"].asString(), device);
    return byId;
}

/// The devices of one list that the other does not hold with the same content.
Json::Value Missing(const Json::Value& devices, const std::map<std::string, Json::Value>& other) {
    Json::Value missing(Json::arrayValue);
    for (const Json::Value& device : devices) {
        const auto found = other.find(device["id"].asString());
        if (found == other.end() || found->second != device)
            missing.append(device);
    }
    return missing;
}

}  // namespace

DeviceChanges CompareDevices(const Json::Value& before, const Json::Value& after) {
    return {Missing(before, ById(after)), Missing(after, ById(before))};
}

}  // namespace vms
