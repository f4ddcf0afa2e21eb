#include "platform/Json.h"
#include "videodevice/core/Response.h"
#include "videodevice/ptz/PtzOperations.h"

namespace vms {

void PtzMove(IVideoDevice& device, int channel, const Json::Value& body, __tagTvCommand& response) {
    const Json::Value& movement = Member(body, "contrl");
    __tagTvPtzParam param;
    ReadInt(movement, "opt", param.opt);
    ReadInt(movement, "turn", param.turn);
    ReadInt(movement, "is_add", param.is_add);
    ReadInt(movement, "is_press", param.is_press);
    ReadInt(movement, "speed", param.speed);
    param.channel = channel;
    if (device.PtzControl(&param) >= 0)
        response.result = 1;
}

void PtzGetSpeed(IVideoDevice& device, int channel, const Json::Value& /*body*/,
                 __tagTvCommand& response) {
    const int speed = device.PtzGetSpeed(channel);
    if (speed < 0)
        return;
    Json::Value answer(Json::objectValue);
    answer["speed"] = speed;
    Succeed(response, answer.toStyledString());
}

void PtzSetSpeed(IVideoDevice& device, int channel, const Json::Value& body,
                 __tagTvCommand& response) {
    int speed = 0;
    if (ReadInt(body, "speed", speed) && device.PtzSetSpeed(channel, speed) >= 0)
        response.result = 1;
}

}  // namespace vms
