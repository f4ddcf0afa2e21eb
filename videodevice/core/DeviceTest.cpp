#include "videodevice/core/DeviceTest.h"

#include "module/DeviceRecords.h"
#include "platform/Json.h"
#include "platform/SysCommandHelper.h"
#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/core/Guarded.h"
#include "videodevice/core/Response.h"

namespace vms {
namespace {

bool ReadDescription(const std::string& body, __tagTvVideoParam& device) {
    Json::Value root;
    if (!ParseJson(body.c_str(), root))
        return false;
    const Json::Value& description = FirstElement(root);
    ReadString(description, "ip", device.ip);
    ReadInt(description, "port", device.port);
    ReadString(description, "username", device.username);
    ReadString(description, "password", device.password);
    ReadBool(description, "httpsEnable", device.httpsEnable);
    return true;
}

std::string DescribeFound(const __tagTvSearchDeviceParam& info) {
    Json::Value answer(Json::objectValue);
    answer["channelnum"] = info.channelnum;
    answer["devtype"] = info.devtype;
    answer["name"] = info.name;
    answer["ver"] = info.ver;
    return answer.toStyledString();
}

__tagTvCommand FailedResponse(const __tagTvCommand* command) {
    __tagTvCommand* const created = SysCommandHelper::CreateResponseCommand(command, -1, "");
    __tagTvCommand copy = *created;
    SysCommandHelper::ReleaseCommand(created);
    return copy;
}

}  // namespace

void DeviceTest::Start(const __tagTvCommand* command) {
    VMS_LOG(1, "DeviceTest", "DeviceTest begin");
    __tagTvCommand response = FailedResponse(command);
    const bool started = workers_.Start(
        [this, body = command->body, answer = response]() mutable { Run(body, answer); });
    if (!started)
        PostResponse(context_.bus, &response);
}

void DeviceTest::Run(const std::string& body, __tagTvCommand& response) {
    Guarded("DeviceTest", [&] {
        __tagTvVideoParam device;
        __tagTvSearchDeviceParam info;
        if (ReadDescription(body, device) && context_.factory.DeviceTest(&device, &info))
            Succeed(response, DescribeFound(info));
    });
    VMS_LOG(1, "operator()", "DeviceTest end, ret=%d", response.result);
    PostResponse(context_.bus, &response);
}

}  // namespace vms
