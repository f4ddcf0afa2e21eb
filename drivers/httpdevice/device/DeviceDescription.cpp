#include "drivers/httpdevice/device/DeviceDescription.h"

#include <json/value.h>

#include "deviceapi/Tavero_Http_Encode.h"
#include "drivers/httpdevice/device/AnswerData.h"
#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;

enum DeviceType { kCamera = 1, kRecorder = 2 };

bool ReadInfo(const std::string& answer, __tagTvSearchDeviceParam& info) {
    Json::Value data;
    if (Api::DeSerializeVersion(answer.c_str(), info.ver, info.name) != 0 ||
        !ReadData(answer, data))
        return false;
    ReadString(data, "macAddress", info.mac);
    ReadString(data, "serialNumber", info.sn);
    return true;
}

}  // namespace

bool DescribeDevice(DeviceConnection& device, const DeviceProfile& profile,
                    __tagTvSearchDeviceParam& info) {
    const DeviceAddress& address = device.Address();
    if (!device.Call(
            address.Url(&Api::GetUrlDevInfo), Api::GetVersionRequestData(),
            [&](const std::string& answer) { return ReadInfo(answer, info); }, kShortAnswer))
        return false;
    info.devtype = profile.recorder ? kRecorder : kCamera;
    info.channelnum = profile.channels;
    info.uctype = profile.type;
    info.ip = address.Description().ip;
    info.port = address.Description().port;
    return true;
}

}  // namespace vms::httpdevice
