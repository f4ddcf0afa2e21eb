#include "videodevice/core/DeviceTest.h"

#include <json/value.h>

#include "module/DeviceRecords.h"
#include "module/TestDevice.h"
#include "platform/SysCommandHelper.h"
#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/core/Guarded.h"
#include "videodevice/core/Response.h"

namespace vms {
namespace {

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
        if (ReadTestDevice(body, device) && context_.factory.DeviceTest(&device, &info))
            Succeed(response, DescribeFound(info));
    });
    VMS_LOG(1, "operator()", "DeviceTest end, ret=%d", response.result);
    PostResponse(context_.bus, &response);
}

}  // namespace vms
