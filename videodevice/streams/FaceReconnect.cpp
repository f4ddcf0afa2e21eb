#include "videodevice/streams/FaceReconnect.h"

#include <utility>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/core/Guarded.h"

namespace vms {

void FaceReconnect::Start(const std::string& key) {
    if (!workers_.Start([this, key] { Run(key); }))
        VMS_LOG(3, "FaceReConnect", "no thread for a new face source, uri=%s", key.c_str());
}

void FaceReconnect::Run(const std::string& key) {
    DeviceTable::Device device;  // may be the last reference: goes when the table is unlocked
    // The one place where locks nest: stream table, then retired faces, then devices. The sources'
    // callbacks must not meet the stream between its two face sources.
    streams_.WithLocked(key, [&](StreamInfo& stream) {
        if (stream.faceServer == nullptr)
            return;
        Guarded("StopFaceFrame", [&] { stream.faceServer->StopFaceFrame(stream.key); });
        retirement_.KeepUntilClosed(std::exchange(stream.faceServer, nullptr));
        device = devices_.Find(stream.deviceId);
        stream.faceServer.reset(context_.factory.CreateFaceFrameServer(device.get()));
        if (stream.faceServer != nullptr)
            stream.faceServer->StartFaceFrame(stream.key, stream.channel, &context_.sink);
    });
}

}  // namespace vms
