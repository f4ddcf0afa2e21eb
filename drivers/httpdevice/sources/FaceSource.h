#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "drivers/httpdevice/session/DeviceConnection.h"
#include "platform/Mutex.h"
#include "videodevice/IFaceFrameServer.h"
#include "videodevice/IStreamCallback.h"
#include "websocket/TaveroFaceFrame_ws.h"

namespace vms::httpdevice {

/// Face packets from the device's event channel. Until the first one has come, tries again and
/// again, after 1 s, 2 s and so on up to 30 s; once they have come, the loss of the connection asks
/// the module for another source. Sources of one device keep a second between their beginnings.
/// Thread-safe; nothing waits.
class FaceSource final : public IFaceFrameServer, private Closable {
public:
    explicit FaceSource(std::shared_ptr<DeviceConnection> device);
    ~FaceSource() override;
    FaceSource(const FaceSource&) = delete;
    FaceSource& operator=(const FaceSource&) = delete;

    /// @return -1 for a second start or without a sink
    int StartFaceFrame(std::string key, int channel, IStreamCallback* sink) override;
    void StopFaceFrame(std::string key) override;
    void RequestStopGetPreviewStream() override;
    bool GetCloseGetStreamStatus() override;
    std::string GetStreamUri() override;

private:
    class Attempts;

    void BeginClose() override { RequestStopGetPreviewStream(); }
    bool IsClosed() override { return GetCloseGetStreamStatus(); }

    const std::shared_ptr<DeviceConnection> device_;
    const std::shared_ptr<Attempts> attempts_;
};

}  // namespace vms::httpdevice
