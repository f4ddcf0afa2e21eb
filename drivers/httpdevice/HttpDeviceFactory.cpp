#include "drivers/httpdevice/HttpDeviceFactory.h"

#include <exception>
#include <utility>

#include "drivers/httpdevice/device/DeviceDescription.h"
#include "drivers/httpdevice/device/HttpDevice.h"
#include "drivers/httpdevice/sources/FaceSource.h"
#include "drivers/httpdevice/sources/PlaySpeed.h"
#include "drivers/httpdevice/sources/PlaybackSource.h"
#include "drivers/httpdevice/sources/PreviewSource.h"
#include "drivers/httpdevice/sources/SyncChannelSource.h"
#include "drivers/httpdevice/sources/SyncSession.h"
#include "drivers/httpdevice/sources/TalkSource.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "platform/WebSocketSettings.h"

namespace vms::httpdevice {
namespace {

constexpr std::chrono::milliseconds kCloseTime{4000};

HttpDevice* OwnDevice(IVideoDevice* device) {
    return dynamic_cast<HttpDevice*>(device);
}

/// What sources take of a device; null for no device and for one of another family.
std::shared_ptr<DeviceConnection> ConnectionOf(IVideoDevice* device) {
    const HttpDevice* const own = OwnDevice(device);
    return own == nullptr ? nullptr : own->Connection();
}

/// The same, once the device has confirmed the session; blocks for that.
std::shared_ptr<DeviceConnection> ReadyConnectionOf(IVideoDevice* device) {
    auto connection = ConnectionOf(device);
    return connection != nullptr && connection->Verify() ? connection : nullptr;
}

int TalkEncodeOf(IVideoDevice* device) {
    const auto profile = OwnDevice(device)->Profile();
    return profile == nullptr ? 0 : profile->talkEncode;
}

/// Streams come over the clients that all families share; off is their default.
void VerifyCertificates(const FamilySettings& settings) {
    if (!settings.verifyCertificates)
        return;
    WebSocketSettings shared = GetWebSocketSettings();
    shared.verifyCertificates = true;
    shared.trustedCertificates = settings.trustedCertificates;
    SetWebSocketSettings(shared);
}

}  // namespace

HttpDeviceFactory::~HttpDeviceFactory() {
    UnInit();
}

bool HttpDeviceFactory::Init(__tagTvStreamServerParam* param) {
    UnInit();
    static const CURLcode curlReady = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (curlReady != CURLE_OK)
        return false;
    const FamilySettings settings = ParseSettings(param != nullptr ? param->content : "");
    VerifyCertificates(settings);
    try {
        auto runtime = std::make_shared<FamilyRuntime>(settings);
        MutexLock lock(mutex_);
        runtime_ = std::move(runtime);
        return true;
    } catch (const std::exception& error) {
        VMS_LOG(3, "HttpDeviceFactory", "cannot start: %s", error.what());
        return false;
    }
}

int HttpDeviceFactory::UnInit() {
    std::shared_ptr<FamilyRuntime> runtime;
    {
        MutexLock lock(mutex_);
        runtime.swap(runtime_);
    }
    return runtime == nullptr || runtime->ShutDown(kCloseTime) ? 0 : -1;
}

std::shared_ptr<FamilyRuntime> HttpDeviceFactory::Runtime() {
    MutexLock lock(mutex_);
    return runtime_;
}

IVideoDevice* HttpDeviceFactory::CreateDevice(__tagTvVideoParam* device) {
    const auto runtime = Runtime();
    if (runtime == nullptr || device->ip.empty())
        return nullptr;
    auto connection = std::make_shared<DeviceConnection>(*device, runtime);
    connection->Watch();
    return new HttpDevice(std::move(connection));
}

IPreviewStreamServer* HttpDeviceFactory::CreatePreviewServer(IVideoDevice* device,
                                                             int /*streamType*/,
                                                             VideoDeviceModule* /*module*/) {
    auto connection = ReadyConnectionOf(device);
    if (connection == nullptr)
        return nullptr;
    const int talkEncode = TalkEncodeOf(device);
    return new PreviewSource(std::move(connection), talkEncode);
}

IFaceFrameServer* HttpDeviceFactory::CreateFaceFrameServer(IVideoDevice* device) {
    auto connection = ConnectionOf(device);
    return connection == nullptr ? nullptr : new FaceSource(std::move(connection));
}

IPlaybackStreamServer* HttpDeviceFactory::CreatePlaybackServer(IVideoDevice* device,
                                                               int* speedOnlyI, int streamType) {
    auto connection = ReadyConnectionOf(device);
    if (connection == nullptr)
        return nullptr;
    *speedOnlyI = kSpeedOnlyKeyFrames;
    return new PlaybackSource(std::move(connection), streamType);
}

IPlaybackStreamServer* HttpDeviceFactory::CreateDownloadServer(IVideoDevice* device,
                                                               int streamType) {
    auto connection = ReadyConnectionOf(device);
    if (connection == nullptr)
        return nullptr;
    // The address of a download names no channel, and nothing else asks how many there are.
    OwnDevice(device)->Profile();
    return new PlaybackSource(std::move(connection), streamType);
}

ITalkStreamServer* HttpDeviceFactory::CreateTalkServer(IVideoDevice* device) {
    auto connection = ConnectionOf(device);
    if (connection == nullptr)
        return nullptr;
    const int talkEncode = OwnDevice(device)->KnownTalkEncode();
    return new TalkSource(std::move(connection), talkEncode);
}

ISyncPlaybackServer* HttpDeviceFactory::CreateSyncPlaybackServer(IVideoDevice* device) {
    auto connection = ReadyConnectionOf(device);
    return connection == nullptr ? nullptr : new SyncSession(std::move(connection));
}

IPlaybackStreamServer* HttpDeviceFactory::CreateSyncPlaybackChannelServer(IVideoDevice* device,
                                                                          int channel,
                                                                          std::string token) {
    auto connection = ConnectionOf(device);
    auto group = connection == nullptr
                     ? nullptr
                     : connection->Runtime()->FindSession(connection->Address(), token);
    if (group == nullptr)
        return nullptr;
    if (!connection->MayHaveChannel(channel)) {
        VMS_LOG(2, "HttpDeviceFactory", "%s: no channel %d", connection->Address().Label().c_str(),
                channel);
        return nullptr;
    }
    return new SyncChannelSource(std::move(connection), channel, std::move(token),
                                 std::move(group));
}

bool HttpDeviceFactory::DeviceTest(__tagTvVideoParam* device, __tagTvSearchDeviceParam* info) {
    const auto runtime = Runtime();
    if (runtime == nullptr || device->ip.empty())
        return false;
    const auto connection = std::make_shared<DeviceConnection>(*device, runtime);
    const auto profile = AskProfile(*connection);
    return profile != nullptr && DescribeDevice(*connection, *profile, *info);
}

}  // namespace vms::httpdevice
