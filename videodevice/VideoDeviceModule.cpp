#include "videodevice/VideoDeviceModule.h"

#include <array>
#include <utility>

#include "module/ICommandBus.h"
#include "module/LogSink.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/ILogHandler.h"
#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/ModuleParts.h"
#include "videodevice/core/Guarded.h"
#include "videodevice/core/ModuleConfig.h"
#include "videodevice/core/NoFamily.h"

namespace {

struct Registration {
    __enumTvCommand id;
    void (VideoDeviceModule::*handler)(__tagTvCommand* command);
};

constexpr std::array<Registration, 27> kRegistrations = {{
    {TV_CMD_DEVICES_ENQUEUE, &VideoDeviceModule::DevicesEnqueue},
    {TV_CMD_DEVICES_DEQUEUE, &VideoDeviceModule::DevicesDequeue},
    {TV_CMD_SEARCH_RECORD, &VideoDeviceModule::SearchRecord},
    {TV_CMD_GET_PREVIEW_URL, &VideoDeviceModule::GetPreviewUrl},
    {TV_CMD_GET_PLAYBACK_URL, &VideoDeviceModule::GetPlaybackUrl},
    {TV_CMD_GET_RECORD_DOWNLOAD_URL, &VideoDeviceModule::GetRecordDownloadUrl},
    {TV_CMD_DEVICE_TEST, &VideoDeviceModule::DeviceTest},
    {TV_CMD_GET_DEV_SESSION_ID, &VideoDeviceModule::GetDevSessionId},
    {TV_CMD_SET_CHANNEL_NAME, &VideoDeviceModule::SetChannelName},
    {TV_CMD_PTZ_CONTROL, &VideoDeviceModule::PtzControl},
    {TV_CMD_GET_CAPABILITY, &VideoDeviceModule::GetCapability},
    {TV_CMD_QUERY_RECORD_DATE, &VideoDeviceModule::QueryRecordDate},
    {TV_CMD_DEV_TIMING, &VideoDeviceModule::DevTiming},
    {TV_CMD_GET_CONNECT_TYPE, &VideoDeviceModule::GetConnectType},
    {TV_CMD_GET_DEVICE_PERMISSION, &VideoDeviceModule::GetDevicePermission},
    {TV_CMD_GET_DEVICE_TIME, &VideoDeviceModule::GetDeviceTime},
    {TV_CMD_TRANSMISSION, &VideoDeviceModule::Transmission},
    {TV_CMD_SYNC_PLAYBACK_CREATE, &VideoDeviceModule::SyncPlaybackCreate},
    {TV_CMD_SYNC_PLAYBACK_DESTROY, &VideoDeviceModule::SyncPlaybackDestroy},
    {TV_CMD_SYNC_PLAYBACK_CHANNEL_ADD, &VideoDeviceModule::SyncPlaybackChannelAdd},
    {TV_CMD_SYNC_PLAYBACK_CHANNEL_DEL, &VideoDeviceModule::SyncPlaybackChannelDel},
    {TV_CMD_SYNC_PLAYBACK_START, &VideoDeviceModule::SyncPlaybackStart},
    {TV_CMD_SYNC_PLAYBACK_STOP, &VideoDeviceModule::SyncPlaybackStop},
    {TV_CMD_SYNC_PLAYBACK_PAUSE, &VideoDeviceModule::SyncPlaybackPause},
    {TV_CMD_SYNC_PLAYBACK_RESUME, &VideoDeviceModule::SyncPlaybackResume},
    {TV_CMD_SYNC_PLAYBACK_SEEK, &VideoDeviceModule::SyncPlaybackSeek},
    {TV_CMD_SYNC_PLAYBACK_SET_SPEED, &VideoDeviceModule::SyncPlaybackSetSpeed},
}};

}  // namespace

VideoDeviceModule::VideoDeviceModule(IVideoDeviceFactory* factory)
    : VideoDeviceModule(factory, vms::Clock()) {}

VideoDeviceModule::VideoDeviceModule(IVideoDeviceFactory* factory, vms::Clock clock)
    : parts_(std::make_unique<vms::ModuleParts>(
          *this, *this, factory != nullptr ? *factory : vms::NoFamily(), std::move(clock))) {}

VideoDeviceModule::~VideoDeviceModule() {
    parts_->ShutDown();
}

bool VideoDeviceModule::Init(const char* name, const char* config) {
    vms::ModuleContext& context = parts_->context;
    context.name = name != nullptr ? name : "";
    context.bus = CreateCommandBusInstance();
    for (const Registration& entry : kRegistrations) {
        context.bus->RegisterCommand(context.name.c_str(), entry.id,
                                     [this, handler = entry.handler](__tagTvCommand* command) {
                                         (this->*handler)(command);
                                     });
    }
    context.server = {};
    vms::ReadModuleConfig(config, context.server, context.streamTypes);
    bool started = false;
    vms::Guarded("Init", [&] { started = context.factory.Init(&context.server); });
    return started;
}

int VideoDeviceModule::UnInit() {
    int result = -1;
    vms::Guarded("UnInit", [&] { result = parts_->context.factory.UnInit(); });
    return result;
}

int VideoDeviceModule::OnTimer() {
    DestroyPlayConn();
    DestroySyncPlaybackConn();
    DestroySyncPlaybackServer();
    parts_->retirement.DestroyFaceServers();
    parts_->workers.Reap();
    return 0;
}

void VideoDeviceModule::SetCallback(ILogHandler* handler) {
    vms::SetLogSink(handler);
}

void VideoDeviceModule::OnConnect(long long /*connectionId*/, const char* /*address*/,
                                  int /*port*/) {}

void VideoDeviceModule::OnClose(long long connectionId, int /*reason*/, const char* /*text*/) {
    parts_->players.Close(connectionId);
}

int VideoDeviceModule::OnRecv(long long connectionId, void* request, int /*length*/) {
    if (request == nullptr)
        return -1;
    return parts_->players.Handle(connectionId, *static_cast<const __tagTvCommand*>(request));
}

int VideoDeviceModule::OnStream(long long connectionId, void* data, int length) {
    parts_->talks.Send(connectionId, data, length);
    return 0;
}

void VideoDeviceModule::SetConnectionControl(IStreamConnectionController* controller) {
    parts_->context.controller = controller;
}

int VideoDeviceModule::SteramCallback(std::string key, char* data, int length) {
    return parts_->media.Deliver(key, data, length);
}

int VideoDeviceModule::MsgCallback(std::string key, const char* message) {
    parts_->media.Message(key, message);
    return 0;
}

void VideoDeviceModule::UpdateKeyFrame(std::string key, char* data, int length) {
    parts_->media.UpdateKeyFrame(key, data, length);
}

int VideoDeviceModule::QueryDataCountToSend(std::string key) {
    return parts_->media.QueryDataCount(key);
}

void VideoDeviceModule::SyncPlaybackErase(std::string sessionKey) {
    parts_->syncPlayback.Erase(sessionKey);
}

void VideoDeviceModule::FaceReConnect(std::string key) {
    parts_->faces.Start(key);
}

void VideoDeviceModule::DestroyPlayConn() {
    parts_->retirement.DestroyPlayConn();
}

void VideoDeviceModule::DestroySyncPlaybackConn() {
    parts_->retirement.DestroySyncPlaybackConn();
}

void VideoDeviceModule::DestroySyncPlaybackServer() {
    parts_->retirement.DestroySyncPlaybackServer();
}
