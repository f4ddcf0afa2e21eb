#include "onvif/OnvifModule.h"

#include <json/value.h>

#include <exception>
#include <list>
#include <system_error>

#include "module/LogSink.h"
#include "module/TestDevice.h"
#include "onvif/OnvifDeviceSearch.h"
#include "onvif/PreviewUrl.h"
#include "onvif/SearchPages.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/ILogHandler.h"
#include "platform/VideoCommandHelper.h"

namespace {

constexpr int kWholeDevice = -1;
constexpr int kFirstChannel = 0;
constexpr int kOnvifDeviceType = 201;

std::string TestAnswer() {
    Json::Value answer(Json::objectValue);
    answer["channelnum"] = 1;
    answer["devtype"] = kOnvifDeviceType;
    return answer.toStyledString();
}

}  // namespace

OnvifModule::~OnvifModule() {
    OnvifModule::UnInit();
}

bool OnvifModule::Init(const char* name, const char* /*config*/) {
    UnInit();
    name_ = name != nullptr ? name : "";
    bus_ = CreateCommandBusInstance();
    Register(TV_CMD_DEVICES_ENQUEUE, &OnvifModule::DevicesEnqueue);
    Register(TV_CMD_DEVICES_DEQUEUE, &OnvifModule::DevicesDequeue);
    Register(TV_CMD_SEARCH_RECORD, &OnvifModule::SearchRecord);
    Register(TV_CMD_GET_PREVIEW_URL, &OnvifModule::GetPreviewUrl);
    Register(TV_CMD_GET_PLAYBACK_URL, &OnvifModule::GetPlaybackUrl);
    Register(TV_CMD_SEARCH_RECORD, &OnvifModule::SearchRecord);
    Register(TV_CMD_DEVICE_TEST, &OnvifModule::DeviceTest);
    Register(TV_CMD_SEARCH_DEVICE, &OnvifModule::SearchDevice);
    stop_ = false;
    try {
        statusThread_ = std::thread(&OnvifModule::CheckThread, this);
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

void OnvifModule::Register(__enumTvCommand id, void (OnvifModule::*handler)(__tagTvCommand*)) {
    bus_->RegisterCommand(name_.c_str(), id,
                          [this, handler](__tagTvCommand* command) { (this->*handler)(command); });
}

int OnvifModule::UnInit() {
    stop_ = true;
    if (statusThread_.joinable())
        statusThread_.join();
    return 0;
}

int OnvifModule::OnTimer() {
    return 0;
}

void OnvifModule::SetCallback(ILogHandler* handler) {
    vms::SetLogSink(handler);
}

void OnvifModule::Answer(const __tagTvCommand* command, int result, const std::string& body) {
    __tagTvCommand* response = commandHelper_.CreateResponseCommand(command, result, body.c_str());
    bus_->SendResponse(response);
    commandHelper_.ReleaseCommand(response);
}

bool OnvifModule::IsReachable(const __tagTvVideoParam& device) {
    return !onvif_
                .GetStreamUri(device.ip.c_str(), device.port, device.username.c_str(),
                              device.password.c_str(), 0)
                .empty();
}

std::shared_ptr<__tagTvVideoParam> OnvifModule::FindDevice(const std::string& id) {
    vms::MutexLock lock(deviceMutex_);
    const auto found = devices_.find(id);
    return found != devices_.end() ? found->second : nullptr;
}

OnvifModule::DeviceTable OnvifModule::CopyDevices() {
    vms::MutexLock lock(deviceMutex_);
    return devices_;
}

void OnvifModule::DevicesEnqueue(__tagTvCommand* command) {
    std::list<__tagTvVideoParam> parsed;
    VideoCommandHelper::CommandParse_Video(parsed, command->body.c_str());
    vms::MutexLock lock(deviceMutex_);
    for (const __tagTvVideoParam& device : parsed)
        devices_[device.id] = std::make_shared<__tagTvVideoParam>(device);
    Answer(command, 1, "");
}

void OnvifModule::DevicesDequeue(__tagTvCommand* command) {
    std::list<__tagTvVideoParam> parsed;
    VideoCommandHelper::CommandParse_Video(parsed, command->body.c_str());
    vms::MutexLock lock(deviceMutex_);
    for (const __tagTvVideoParam& device : parsed)
        devices_.erase(device.id);
    Answer(command, 1, "");
}

void OnvifModule::SearchRecord(__tagTvCommand* command) {
    Answer(command, -1, "not support");
}

void OnvifModule::GetPlaybackUrl(__tagTvCommand* command) {
    Answer(command, -1, "not support");
}

void OnvifModule::GetPreviewUrl(__tagTvCommand* command) {
    std::string url;
    if (const auto device = FindDevice(command->deviceId)) {
        std::string id;
        int channel = 0;
        int streamIndex = 0;
        int face = 0;
        VideoCommandHelper::CommandParse_GetPreviewUrl(id, channel, streamIndex, face,
                                                       command->body.c_str());
        const std::string rawUri =
            onvif_.GetStreamUri(device->ip.c_str(), device->port, device->username.c_str(),
                                device->password.c_str(), streamIndex);
        url = vms::MakePreviewUrl(rawUri, *device, channel, streamIndex);
    }
    if (url.empty())
        Answer(command, -1, "get preview url error");
    else
        Answer(command, 1,
               VideoCommandHelper::CommandSerialize_Stream("127.0.0.1", 0, url.c_str(), 0));
}

void OnvifModule::DeviceTest(__tagTvCommand* command) {
    __tagTvVideoParam device;
    if (vms::ReadTestDevice(command->body, device) && IsReachable(device))
        Answer(command, 1, TestAnswer());
    else
        Answer(command, -1, "");
}

void OnvifModule::CheckThread() {
    while (!stop_) {
        try {
            RunStatusPass();
        } catch (const std::exception& error) {
            VMS_LOG(1, "CheckThread", "status pass failed: %s\n", error.what());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5000));
    }
}

void OnvifModule::RunStatusPass() {
    StatusMap status;
    for (const auto& [id, device] : CopyDevices()) {
        const int state = IsReachable(*device) ? 1 : 0;
        status[id] = {{kWholeDevice, state}, {kFirstChannel, state}};
    }
    const std::string body = VideoCommandHelper::CommandSerialize_DevStatus(status);
    __tagTvCommand* report = commandHelper_.CreateRequestCommand(
        TV_CMD_DEVICE_STATUS, name_.c_str(), "", body.c_str(), "");
    CreateCommandBusInstance()->SendRequest(report);
    commandHelper_.ReleaseCommand(report);
}

void OnvifModule::SearchDevice(__tagTvCommand* command) {
    Answer(command, 1, vms::SearchStartPage());
    OnvifDeviceSearch search;
    search.start(
        [this, command](__tagTvSearchDeviceParam* device, void*) {
            if (device != nullptr && !device->ip.empty())
                Answer(command, 1, vms::SearchDevicePage(*device));
        },
        nullptr);
    Answer(command, 1, vms::SearchEndPage());
}
