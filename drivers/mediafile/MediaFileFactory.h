#pragma once

#include <memory>
#include <string>

#include "drivers/mediafile/sources/SourceRegistry.h"
#include "drivers/mediafile/sources/SyncSessionTable.h"
#include "media/recording/ContentRoots.h"
#include "media/recording/DurationIndex.h"
#include "media/recording/RecordingIndex.h"
#include "platform/Mutex.h"
#include "videodevice/IVideoDeviceFactory.h"

namespace vms::mediafile {

/// Makes drivers and sources over folders of recordings. Refuses (null) devices of other families,
/// and sources of streams from a folder or a channel that is not there.
class MediaFileFactory final : public IVideoDeviceFactory {
public:
    MediaFileFactory() = default;
    /// Ends all source threads; sources may outlive the factory.
    ~MediaFileFactory();
    MediaFileFactory(const MediaFileFactory&) = delete;
    MediaFileFactory& operator=(const MediaFileFactory&) = delete;

    /// Takes the content folders, separated by ":", from "content", else from the environment
    /// variable VMS_MEDIA_ROOT. Devices made later lie within them.
    bool Init(__tagTvStreamServerParam* param) override VMS_EXCLUDES(mutex_);
    /// Ends all threads and refuses new ones until the next Init.
    /// @return -1 when one still runs after five seconds
    int UnInit() override;

    IVideoDevice* CreateDevice(__tagTvVideoParam* device) override;
    IPreviewStreamServer* CreatePreviewServer(IVideoDevice* device, int streamType,
                                              VideoDeviceModule* module) override;
    IFaceFrameServer* CreateFaceFrameServer(IVideoDevice* device) override;
    IPlaybackStreamServer* CreatePlaybackServer(IVideoDevice* device, int* speedOnlyI,
                                                int streamType) override;
    IPlaybackStreamServer* CreateDownloadServer(IVideoDevice* device, int streamType) override;
    ITalkStreamServer* CreateTalkServer(IVideoDevice* device) override;
    ISyncPlaybackServer* CreateSyncPlaybackServer(IVideoDevice* device) override;
    /// @return null for a token that no session has and for an unknown channel
    IPlaybackStreamServer* CreateSyncPlaybackChannelServer(IVideoDevice* device, int channel,
                                                           std::string token) override;
    /// Whether the folder exists and can be read; fills "channelnum", "name" and "ver".
    bool DeviceTest(__tagTvVideoParam* device, __tagTvSearchDeviceParam* info) override;

private:
    std::shared_ptr<const RecordingIndex> MakeIndex(const __tagTvVideoParam& device)
        VMS_EXCLUDES(mutex_);

    const std::shared_ptr<DurationIndex> durations_ = std::make_shared<DurationIndex>();
    const std::shared_ptr<SourceRegistry> registry_ = std::make_shared<SourceRegistry>();
    const std::shared_ptr<SyncSessionTable> sessions_ = std::make_shared<SyncSessionTable>();

    Mutex mutex_;
    std::shared_ptr<const ContentRoots> roots_ VMS_GUARDED_BY(mutex_) =
        std::make_shared<const ContentRoots>("");
};

}  // namespace vms::mediafile
