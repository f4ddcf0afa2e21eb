#include "drivers/mediafile/MediaFileFactory.h"

#include <cstdlib>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/log.h>
}

#include "drivers/mediafile/device/DeviceFolder.h"
#include "drivers/mediafile/device/MediaFileDevice.h"
#include "drivers/mediafile/sources/FaceSource.h"
#include "drivers/mediafile/sources/PlaybackSource.h"
#include "drivers/mediafile/sources/PreviewSource.h"
#include "drivers/mediafile/sources/SyncChannelSource.h"
#include "drivers/mediafile/sources/SyncSession.h"
#include "drivers/mediafile/sources/TalkSink.h"
#include "media/MediaLog.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::mediafile {
namespace {

constexpr const char* kRootVariable = "VMS_MEDIA_ROOT";
constexpr const char* kVersion = "1.0";
constexpr std::chrono::seconds kCloseTime{5};

/// What sources take of a device; null for no device and for one of another family.
std::shared_ptr<const RecordingIndex> IndexOf(const IVideoDevice* device) {
    const auto* own = dynamic_cast<const MediaFileDevice*>(device);
    return own == nullptr ? nullptr : own->Index();
}

/// The same for sources of streams: null, too, for a folder that is not there.
std::shared_ptr<const RecordingIndex> PlayableIndexOf(const IVideoDevice* device) {
    auto index = IndexOf(device);
    if (index == nullptr || index->HasChannel(0))
        return index;
    VMS_LOG(2, "MediaFileFactory", "there is no folder \"%s\" to play from", index->Root().c_str());
    return nullptr;
}

std::string ChooseRoots(const __tagTvStreamServerParam* param) {
    if (param != nullptr && !param->content.empty())
        return param->content;
    const char* variable = std::getenv(kRootVariable);
    return variable == nullptr ? "" : variable;
}

}  // namespace

MediaFileFactory::~MediaFileFactory() {
    UnInit();
}

bool MediaFileFactory::Init(__tagTvStreamServerParam* param) {
    // What is wrong with a file is told in this family's own log lines.
    av_log_set_level(AV_LOG_QUIET);
    SetMediaLog(&LogSink);
    const std::string folders = ChooseRoots(param);
    VMS_LOG(1, "MediaFileFactory", "content folders \"%s\"", folders.c_str());
    registry_->Open();
    durations_->Open();
    auto roots = std::make_shared<const ContentRoots>(folders);
    MutexLock lock(mutex_);
    roots_.swap(roots);
    return true;
}

int MediaFileFactory::UnInit() {
    const auto deadline = std::chrono::steady_clock::now() + kCloseTime;
    durations_->CloseUntil(std::chrono::steady_clock::now());  // no source waits for it any more
    const bool sources = registry_->CloseAll(kCloseTime);
    return durations_->CloseUntil(deadline) && sources ? 0 : -1;
}

std::shared_ptr<const RecordingIndex> MediaFileFactory::MakeIndex(const __tagTvVideoParam& device) {
    std::shared_ptr<const ContentRoots> roots;
    {
        MutexLock lock(mutex_);
        roots = roots_;
    }
    std::filesystem::path folder = DeviceFolder(*roots, device);
    return std::make_shared<const RecordingIndex>(std::move(folder), durations_, std::move(roots));
}

IVideoDevice* MediaFileFactory::CreateDevice(__tagTvVideoParam* device) {
    return new MediaFileDevice(MakeIndex(*device));
}

IPreviewStreamServer* MediaFileFactory::CreatePreviewServer(IVideoDevice* device,
                                                            int /*streamType*/,
                                                            VideoDeviceModule* /*module*/) {
    auto index = PlayableIndexOf(device);
    return index == nullptr ? nullptr : new PreviewSource(std::move(index), registry_);
}

IFaceFrameServer* MediaFileFactory::CreateFaceFrameServer(IVideoDevice* device) {
    auto index = IndexOf(device);
    return index == nullptr ? nullptr : new FaceSource(std::move(index), registry_);
}

IPlaybackStreamServer* MediaFileFactory::CreatePlaybackServer(IVideoDevice* device, int* speedOnlyI,
                                                              int /*streamType*/) {
    auto index = PlayableIndexOf(device);
    if (index == nullptr)
        return nullptr;
    *speedOnlyI = kSpeedOnlyKeyFrames;
    return new PlaybackSource(std::move(index), registry_);
}

IPlaybackStreamServer* MediaFileFactory::CreateDownloadServer(IVideoDevice* device,
                                                              int /*streamType*/) {
    auto index = PlayableIndexOf(device);
    return index == nullptr ? nullptr : new PlaybackSource(std::move(index), registry_);
}

ITalkStreamServer* MediaFileFactory::CreateTalkServer(IVideoDevice* device) {
    auto index = IndexOf(device);
    return index == nullptr ? nullptr : new TalkSink(std::move(index));
}

ISyncPlaybackServer* MediaFileFactory::CreateSyncPlaybackServer(IVideoDevice* device) {
    auto index = PlayableIndexOf(device);
    return index == nullptr ? nullptr : new SyncSession(std::move(index), sessions_);
}

IPlaybackStreamServer* MediaFileFactory::CreateSyncPlaybackChannelServer(IVideoDevice* /*device*/,
                                                                         int channel,
                                                                         std::string token) {
    auto group = sessions_->Find(token);
    if (group == nullptr)
        return nullptr;
    if (!group->Index()->HasChannel(channel)) {
        VMS_LOG(2, "MediaFileFactory", "no channel %d in \"%s\"", channel,
                group->Index()->Root().c_str());
        return nullptr;
    }
    return new SyncChannelSource(std::move(group), channel, registry_);
}

bool MediaFileFactory::DeviceTest(__tagTvVideoParam* device, __tagTvSearchDeviceParam* info) {
    const auto index = MakeIndex(*device);
    const std::vector<std::filesystem::path> channels = index->Channels();
    if (channels.empty())
        return false;
    info->channelnum = static_cast<int32_t>(channels.size());
    info->name = index->Root().filename().string();
    info->ver = kVersion;
    info->uctype = "mediafile";
    info->ip = device->ip;
    return true;
}

}  // namespace vms::mediafile
