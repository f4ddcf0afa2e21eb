#include "videodevice/ptz/PtzCommand.h"

#include <array>

#include "platform/Json.h"
#include "videodevice/VideoDeviceModule.h"
#include "videodevice/core/Response.h"

namespace vms {
namespace {

constexpr int kNoAction = -1;

// Indexed by "action".
using Module = VideoDeviceModule;
using Operation = void (Module::*)(IVideoDevice*, int, Json::Value, __tagTvCommand*);
constexpr std::array<Operation, 12> kOperations = {
    &Module::PtzControl2,  &Module::PtzGetSpeed,  &Module::PtzSetSpeed,    &Module::PtzGetPreset,
    &Module::PtzAddPreset, &Module::PtzDelPreset, &Module::PtzCallPreset,  &Module::PtzGetCruise,
    &Module::PtzAddCruise, &Module::PtzDelCruise, &Module::PtzStartCruise, &Module::PtzStopCruise};

/// @return null = there is none
Operation OperationOf(const Json::Value& body) {
    int action = kNoAction;
    ReadInt(body, "action", action);
    const bool known = action >= 0 && action < static_cast<int>(kOperations.size());
    return known ? kOperations[static_cast<size_t>(action)] : nullptr;
}

}  // namespace

void PtzCommand::Control(const __tagTvCommand* command) {
    AnswerRequest(context_.bus, command, "", [&](__tagTvCommand& response) {
        Json::Value body;
        std::string id;
        int channel = 0;
        ParseJson(command->body.c_str(), body);
        ReadString(body, "id", id);
        ReadInt(body, "channel", channel);
        // The body's "id" only has to be there: the command's own identifier names the device.
        const auto device = id.empty() ? nullptr : devices_.Find(command->deviceId);
        const Operation operation = OperationOf(body);
        if (device != nullptr && operation != nullptr)
            (context_.module.*operation)(device.get(), channel, body, &response);
    });
}

}  // namespace vms
