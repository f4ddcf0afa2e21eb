#include "host/api/PtzActions.h"

#include <algorithm>
#include <array>

namespace vms::host {
namespace {

constexpr std::array kActions = {
    PtzAction{"up", 0, 1, 0, true},          PtzAction{"down", 0, 2, 0, true},
    PtzAction{"left", 0, 3, 0, true},        PtzAction{"right", 0, 4, 0, true},
    PtzAction{"left-up", 0, 5, 0, true},     PtzAction{"right-up", 0, 6, 0, true},
    PtzAction{"left-down", 0, 7, 0, true},   PtzAction{"right-down", 0, 8, 0, true},
    PtzAction{"zoom-in", 1, 0, 1, true},     PtzAction{"zoom-out", 1, 0, 0, true},
    PtzAction{"focus-far", 2, 0, 1, true},   PtzAction{"focus-near", 2, 0, 0, true},
    PtzAction{"iris-open", 3, 0, 1, true},   PtzAction{"iris-close", 3, 0, 0, true},
    PtzAction{"focus-once", 4, 0, 0, false}, PtzAction{"lens-init", 5, 0, 0, false},
};

}  // namespace

Json::Value PtzAction::Control(bool begins, int speed) const {
    Json::Value control(Json::objectValue);
    control["opt"] = operation;
    control["turn"] = turn;
    control["is_add"] = more;
    control["is_press"] = begins ? 1 : 0;
    control["speed"] = speed;
    return control;
}

const PtzAction* FindPtzAction(std::string_view name) {
    const auto* const found = std::find_if(kActions.begin(), kActions.end(),
                                           [&](const PtzAction& one) { return name == one.name; });
    return found == kActions.end() ? nullptr : found;
}

std::string PtzActionNames() {
    std::string names;
    for (const PtzAction& action : kActions)
        names += (names.empty() ? "" : ", ") + std::string(action.name);
    return names;
}

Json::Value PtzBody(const std::string& device, int channel, int action) {
    Json::Value body(Json::objectValue);
    body["id"] = device;
    body["channel"] = channel;
    body["action"] = action;
    return body;
}

}  // namespace vms::host
