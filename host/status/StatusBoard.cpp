#include "host/status/StatusBoard.h"

#include <utility>

#include "host/text/IsoTime.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

constexpr int kWholeDevice = -1;

const char* StateName(bool isUp) {
    return isUp ? "up" : "down";
}

Json::Value ChannelsText(const std::map<int, bool>& channels) {
    Json::Value text(Json::arrayValue);
    for (const auto& [number, isUp] : channels) {
        Json::Value channel(Json::objectValue);
        channel["channel"] = number;
        channel["state"] = StateName(isUp);
        text.append(std::move(channel));
    }
    return text;
}

}  // namespace

StatusBoard::StatusBoard(ICommandBus& bus, EventLog* events)
    : bus_(bus),
      events_(events),
      subscription_(bus.Subscribe(TV_CMD_DEVICE_STATUS,
                                  [this](const __tagTvCommand& report) { Put(report); })) {}

StatusBoard::~StatusBoard() {
    bus_.Unsubscribe(subscription_);
}

void StatusBoard::Put(const __tagTvCommand& notification) {
    Json::Value content;
    if (!ParseJson(notification.body.c_str(), content) || !Member(content, "devs").isArray())
        return;
    const std::time_t now = std::time(nullptr);
    MutexLock lock(mutex_);
    Update(notification.source, content["devs"], now);
    reports_[notification.source] = {now, std::move(content["devs"])};
}

/// A device that tells nothing of itself is up if one of its channels is.
StatusBoard::DeviceState StatusBoard::ReadState(const Json::Value& device) {
    DeviceState state;
    bool isTold = false;
    bool anyChannel = false;
    for (const Json::Value& entry : Member(device, "status")) {
        int channel = 0;
        int value = 0;
        if (!ReadInt(entry, "channel", channel) || !ReadInt(entry, "state", value))
            continue;
        if (channel == kWholeDevice) {
            isTold = true;
            state.isUp = value == 1;
        } else if (channel >= 0) {
            state.channels[channel] = value == 1;
            anyChannel = anyChannel || value == 1;
        }
    }
    if (!isTold)
        state.isUp = anyChannel;
    return state;
}

void StatusBoard::Update(const std::string& module, const Json::Value& devices, std::time_t now) {
    DeviceStates& states = devices_[module];
    DeviceStates before = std::exchange(states, {});
    for (const Json::Value& device : devices) {
        std::string id;
        if (!ReadString(device, "id", id))
            continue;
        DeviceState state = ReadState(device);
        const auto known = before.find(id);
        const bool isKnown = known != before.end();
        state.since = isKnown && known->second.isUp == state.isUp ? known->second.since : now;
        Tell(id, module, state, isKnown ? &known->second : nullptr);
        states[id] = std::move(state);
    }
}

/// Of a device that is seen for the first time only that it is down.
void StatusBoard::Tell(const std::string& id, const std::string& module, const DeviceState& state,
                       const DeviceState* before) const {
    if (events_ == nullptr)
        return;
    const bool turned = before == nullptr ? !state.isUp : before->isUp != state.isUp;
    if (!turned && (before == nullptr || before->channels == state.channels))
        return;
    HostEvent event{turned ? (state.isUp ? "device-up" : "device-down") : "status", id, -1,
                    Json::Value(Json::objectValue)};
    event.data["module"] = module;
    event.data["state"] = StateName(state.isUp);
    event.data["channels"] = ChannelsText(state.channels);
    events_->Append(std::move(event));
}

Json::Value StatusBoard::Snapshot() const {
    Json::Value modules(Json::arrayValue);
    Json::Value devices(Json::arrayValue);
    MutexLock lock(mutex_);
    for (const auto& [name, report] : reports_) {
        Json::Value module(Json::objectValue);
        module["module"] = name;
        module["time"] = static_cast<Json::Int64>(report.time);
        module["devs"] = report.devices;
        modules.append(module);
    }
    for (const auto& [module, states] : devices_) {
        for (const auto& [id, state] : states) {
            Json::Value device(Json::objectValue);
            device["device"] = id;
            device["module"] = module;
            device["state"] = StateName(state.isUp);
            device["since"] = IsoTime(state.since);
            device["channels"] = ChannelsText(state.channels);
            devices.append(std::move(device));
        }
    }
    Json::Value snapshot(Json::objectValue);
    snapshot["modules"] = std::move(modules);
    snapshot["devices"] = std::move(devices);
    return snapshot;
}

}  // namespace vms::host
