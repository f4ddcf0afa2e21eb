#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "drivers/httpdevice/session/DeviceConnection.h"
#include "drivers/httpdevice/sources/KeyFrameSink.h"
#include "videodevice/IPreviewStreamServer.h"
#include "websocket/TaveroPreview_ws.h"

namespace vms::httpdevice {

/// Live media of one channel. A connection that is lost after media has come is told as "3"; this
/// source then stays silent, and the next request for the picture makes another.
class PreviewSource final : public IPreviewStreamServer, private Closable {
public:
    /// The device's session must have been confirmed. @param talkEncode for GetTalkEncodeType
    PreviewSource(std::shared_ptr<DeviceConnection> device, int talkEncode);
    ~PreviewSource();
    PreviewSource(const PreviewSource&) = delete;
    PreviewSource& operator=(const PreviewSource&) = delete;

    /// @return -1 for a second start, without a sink, for a channel that is not there, and when no
    /// connection is to be had
    int StartPreview(std::string key, int channel, int streamType, IStreamCallback* sink) override;
    void StopPreview(std::string key) override;
    void RequestStopGetPreviewStream() override;
    bool GetCloseGetStreamStatus() override;
    /// @throws std::runtime_error without a start that succeeded: the request for the picture fails
    std::string GetStreamUri() override;
    int GetTalkEncodeType() override;

private:
    void BeginClose() override { RequestStopGetPreviewStream(); }
    bool IsClosed() override { return GetCloseGetStreamStatus(); }

    const std::shared_ptr<DeviceConnection> device_;
    const int talkEncode_;
    std::atomic<bool> started_{false};
    std::atomic<bool> failed_{false};
    KeyFrameSink sink_;
    TaveroPreview_ws preview_;  ///< last: calls the sink
};

}  // namespace vms::httpdevice
