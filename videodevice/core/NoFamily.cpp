#include "videodevice/core/NoFamily.h"

#include "videodevice/IVideoDeviceFactory.h"

namespace vms {
namespace {

class EmptyFactory final : public IVideoDeviceFactory {
public:
    bool Init(__tagTvStreamServerParam*) override { return false; }
    int UnInit() override { return -1; }
    IVideoDevice* CreateDevice(__tagTvVideoParam*) override { return nullptr; }
    IPreviewStreamServer* CreatePreviewServer(IVideoDevice*, int, VideoDeviceModule*) override {
        return nullptr;
    }
    IFaceFrameServer* CreateFaceFrameServer(IVideoDevice*) override { return nullptr; }
    IPlaybackStreamServer* CreatePlaybackServer(IVideoDevice*, int*, int) override {
        return nullptr;
    }
    IPlaybackStreamServer* CreateDownloadServer(IVideoDevice*, int) override { return nullptr; }
    ITalkStreamServer* CreateTalkServer(IVideoDevice*) override { return nullptr; }
    ISyncPlaybackServer* CreateSyncPlaybackServer(IVideoDevice*) override { return nullptr; }
    IPlaybackStreamServer* CreateSyncPlaybackChannelServer(IVideoDevice*, int,
                                                           std::string) override {
        return nullptr;
    }
    bool DeviceTest(__tagTvVideoParam*, __tagTvSearchDeviceParam*) override { return false; }
};

}  // namespace

IVideoDeviceFactory& NoFamily() {
    static EmptyFactory none;
    return none;
}

}  // namespace vms
