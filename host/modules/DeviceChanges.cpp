#include "host/modules/DeviceChanges.h"

#include <map>
#include <string>

namespace vms::host {
namespace {

std::map<std::string, Json::Value> ById(const Json::Value& devices) {
    std::map<std::string, Json::Value> byId;
    for (const Json::Value& device : devices)
        byId.emplace(device["id"].asString(), device);
    return byId;
}

/// The devices of one list that the other holds, or does not hold, with the same content.
Json::Value Select(const Json::Value& devices, const std::map<std::string, Json::Value>& other,
                   bool held) {
    Json::Value selected(Json::arrayValue);
    for (const Json::Value& device : devices) {
        const auto found = other.find(device["id"].asString());
        if ((found != other.end() && found->second == device) == held)
            selected.append(device);
    }
    return selected;
}

}  // namespace

DeviceChanges CompareDevices(const Json::Value& before, const Json::Value& after) {
    const auto was = ById(before);
    const auto willBe = ById(after);
    return {Select(before, willBe, false), Select(after, was, false), Select(before, willBe, true)};
}

}  // namespace vms::host
