#include <json/value.h>

#include "videodevice/VideoDeviceModule.h"
#include "videodevice/ptz/PtzOperations.h"

void VideoDeviceModule::PtzControl2(IVideoDevice* device, int channel, Json::Value body,
                                    __tagTvCommand* response) {
    vms::PtzMove(*device, channel, body, *response);
}

void VideoDeviceModule::PtzGetSpeed(IVideoDevice* device, int channel, Json::Value body,
                                    __tagTvCommand* response) {
    vms::PtzGetSpeed(*device, channel, body, *response);
}

void VideoDeviceModule::PtzSetSpeed(IVideoDevice* device, int channel, Json::Value body,
                                    __tagTvCommand* response) {
    vms::PtzSetSpeed(*device, channel, body, *response);
}

void VideoDeviceModule::PtzGetPreset(IVideoDevice* device, int channel, Json::Value body,
                                     __tagTvCommand* response) {
    vms::PtzGetPreset(*device, channel, body, *response);
}

void VideoDeviceModule::PtzAddPreset(IVideoDevice* device, int channel, Json::Value body,
                                     __tagTvCommand* response) {
    vms::PtzAddPreset(*device, channel, body, *response);
}

void VideoDeviceModule::PtzDelPreset(IVideoDevice* device, int channel, Json::Value body,
                                     __tagTvCommand* response) {
    vms::PtzDelPreset(*device, channel, body, *response);
}

void VideoDeviceModule::PtzCallPreset(IVideoDevice* device, int channel, Json::Value body,
                                      __tagTvCommand* response) {
    vms::PtzCallPreset(*device, channel, body, *response);
}

void VideoDeviceModule::PtzGetCruise(IVideoDevice* device, int channel, Json::Value body,
                                     __tagTvCommand* response) {
    vms::PtzGetCruise(*device, channel, body, *response);
}

void VideoDeviceModule::PtzAddCruise(IVideoDevice* device, int channel, Json::Value body,
                                     __tagTvCommand* response) {
    vms::PtzAddCruise(*device, channel, body, *response);
}

void VideoDeviceModule::PtzDelCruise(IVideoDevice* device, int channel, Json::Value body,
                                     __tagTvCommand* response) {
    vms::PtzDelCruise(*device, channel, body, *response);
}

void VideoDeviceModule::PtzStartCruise(IVideoDevice* device, int channel, Json::Value body,
                                       __tagTvCommand* response) {
    vms::PtzStartCruise(*device, channel, body, *response);
}

void VideoDeviceModule::PtzStopCruise(IVideoDevice* device, int channel, Json::Value body,
                                      __tagTvCommand* response) {
    vms::PtzStopCruise(*device, channel, body, *response);
}
