#include "host/status/StatusBoard.h"

#include "platform/Json.h"

namespace vms::host {

StatusBoard::StatusBoard(ICommandBus& bus)
    : bus_(bus),
      subscription_(bus.Subscribe(TV_CMD_DEVICE_STATUS,
                                  [this](const __tagTvCommand& report) { Put(report); })) {}

StatusBoard::~StatusBoard() {
    bus_.Unsubscribe(subscription_);
}

void StatusBoard::Put(const __tagTvCommand& notification) {
    Json::Value content;
    if (!ParseJson(notification.body.c_str(), content) || !Member(content, "devs").isArray())
        return;
    MutexLock lock(mutex_);
    reports_[notification.source] = {std::time(nullptr), content["devs"]};
}

Json::Value StatusBoard::Snapshot() const {
    Json::Value modules(Json::arrayValue);
    MutexLock lock(mutex_);
    for (const auto& [name, report] : reports_) {
        Json::Value module(Json::objectValue);
        module["module"] = name;
        module["time"] = static_cast<Json::Int64>(report.time);
        module["devs"] = report.devices;
        modules.append(module);
    }
    Json::Value snapshot(Json::objectValue);
    snapshot["modules"] = modules;
    return snapshot;
}

}  // namespace vms::host
