#include "videodevice/ptz/PtzCommand.h"

#include <array>

#include "platform/Json.h"
#include "videodevice/core/Response.h"
#include "videodevice/ptz/PtzOperations.h"

namespace vms {
namespace {

constexpr int kNoAction = -1;

// Indexed by "action".
constexpr std::array<PtzOperation*, 12> kOperations = {
    PtzMove,       PtzGetSpeed,  PtzSetSpeed,  PtzGetPreset, PtzAddPreset,   PtzDelPreset,
    PtzCallPreset, PtzGetCruise, PtzAddCruise, PtzDelCruise, PtzStartCruise, PtzStopCruise};

PtzOperation* OperationOf(const Json::Value& body) {
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
        PtzOperation* const operation = OperationOf(body);
        if (device != nullptr && operation != nullptr)
            operation(*device, channel, body, response);
    });
}

}  // namespace vms
