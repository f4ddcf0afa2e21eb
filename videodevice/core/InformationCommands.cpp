#include "videodevice/core/InformationCommands.h"

#include "platform/Json.h"
#include "platform/VideoCommandHelper.h"
#include "videodevice/core/Response.h"

namespace vms {
namespace {

using ChannelNames = std::map<int, std::string>;

/// The names meant for one device; those for other devices in the same body are ignored.
ChannelNames NamesFor(const __tagTvCommand* command) {
    std::map<std::string, ChannelNames> names;
    VideoCommandHelper::CommandParse_DevName(names, command->body.c_str());
    const auto found = names.find(command->deviceId);
    return found != names.end() ? found->second : ChannelNames();
}

std::string Styled(const __tagTvDeviceCapability& capability) {
    Json::Value answer(Json::objectValue);
    answer["supportThirdStream"] = capability.supportThirdStream;
    answer["supportTiming"] = capability.supportTiming;
    answer["version6_0"] = capability.version6_0;
    answer["poeNum"] = capability.poeNum;
    return answer.toStyledString();
}

}  // namespace

void InformationCommands::AskDevice(
    const __tagTvCommand* command,
    const std::function<void(IVideoDevice&, __tagTvCommand& response)>& ask) {
    AnswerRequest(context_.bus, command, "", [&](__tagTvCommand& response) {
        if (const auto device = devices_.Find(command->deviceId))
            ask(*device, response);
    });
}

void InformationCommands::GetDevSessionId(const __tagTvCommand* command) {
    if (command->deviceId.empty())
        return GetAllSessionIds(command);
    AskDevice(command, [](IVideoDevice& device, __tagTvCommand& response) {
        Succeed(response, device.GetDevSessionId());
    });
}

void InformationCommands::GetAllSessionIds(const __tagTvCommand* command) {
    const DeviceTable::Devices devices = devices_.Copy();
    if (devices.empty())
        return;
    AnswerRequest(context_.bus, command, "", [&](__tagTvCommand& response) {
        Json::Value sessions(Json::objectValue);
        for (const auto& [id, device] : devices) {
            if (device != nullptr)
                sessions[id] = device->GetDevSessionId();
        }
        Succeed(response, sessions.toStyledString());
    });
}

void InformationCommands::GetConnectType(const __tagTvCommand* command) {
    AskDevice(command, [](IVideoDevice& device, __tagTvCommand& response) {
        int type = 0;
        std::string text;
        device.GetConnectType(&type, &text);
        Json::Value answer(Json::objectValue);
        answer["type"] = type;
        Succeed(response, answer.toStyledString());
    });
}

void InformationCommands::SetChannelName(const __tagTvCommand* command) {
    AskDevice(command, [command](IVideoDevice& device, __tagTvCommand& response) {
        const ChannelNames names = NamesFor(command);
        if (!names.empty() && device.SetChannelName(names) >= 0)
            Succeed(response);
    });
}

void InformationCommands::GetCapability(const __tagTvCommand* command) {
    AskDevice(command, [](IVideoDevice& device, __tagTvCommand& response) {
        __tagTvDeviceCapability capability;
        if (device.GetCapability(&capability) == 0)
            Succeed(response, Styled(capability));
    });
}

void InformationCommands::DevTiming(const __tagTvCommand* command) {
    AskDevice(command, [](IVideoDevice& device, __tagTvCommand& response) {
        if (device.DevTiming() == 0)
            Succeed(response);
    });
}

void InformationCommands::GetDevicePermission(const __tagTvCommand* command) {
    AskDevice(command, [](IVideoDevice& device, __tagTvCommand& response) {
        response.result = 1;
        device.GetDevicePermission(&response.body);
    });
}

void InformationCommands::GetDeviceTime(const __tagTvCommand* command) {
    AskDevice(command, [](IVideoDevice& device, __tagTvCommand& response) {
        Json::Value time;
        device.GetDeviceTime(&time);
        Succeed(response, time.toStyledString());
    });
}

void InformationCommands::Transmission(const __tagTvCommand* command) {
    AskDevice(command, [command](IVideoDevice& device, __tagTvCommand& response) {
        Json::Value root;
        std::string uri;
        std::string request;
        if (!ParseJson(command->body.c_str(), root))
            return;
        ReadString(root, "uri", uri);
        ReadString(root, "request", request);
        if (uri.empty())
            return;
        response.result = 1;
        device.Transmission(uri, request, &response.body);
    });
}

}  // namespace vms
