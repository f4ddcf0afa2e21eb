#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "module/DeviceRecords.h"
#include "module/Export.h"
#include "platform/ReusableBuffer.h"
#include "videodevice/IFaceFrameServer.h"
#include "websocket/INetEventHandle.h"

class IWebSocketClient;

/// Face-detection packets from the event channel of a device that serves it over WebSocket. Each
/// packet reaches the sink as a media unit of type 3. Threads as for TaveroPreview_ws.
class VMS_DEVICEACCESS_API TaveroFaceFrame_ws final : public IFaceFrameServer,
                                                      public INetEventHandle {
public:
    /// @param device copied from; null = no address
    /// @param path   the session; what precedes the first "=" does not count. May be null
    TaveroFaceFrame_ws(__tagTvVideoParam* device, const char* path);

    /// Waits for an event that is being handled. Not from inside one.
    ~TaveroFaceFrame_ws() override;
    TaveroFaceFrame_ws(const TaveroFaceFrame_ws&) = delete;
    TaveroFaceFrame_ws& operator=(const TaveroFaceFrame_ws&) = delete;

    /// For connections from now on: 3 s unless it is set. At least 1 ms, at most a day.
    void SetConnectTimeout(std::chrono::milliseconds time);

    // IFaceFrameServer

    /// Starts connecting, never securely. @param channelNumber not used: events are the device's
    /// @return 0, or -1 when there is no WebSocket client to be had
    int StartFaceFrame(std::string key, int channelNumber, IStreamCallback* sink) override;
    /// Asks the device to stop; the connection stays. @param key not used
    void StopFaceFrame(std::string key) override;
    void RequestStopGetPreviewStream() override;
    bool GetCloseGetStreamStatus() override;
    std::string GetStreamUri() override;

    // INetEventHandle

    void OnConnect(long long handle, const char* text, int len) override;
    void OnClose(long long handle, int code, const char* msg) override;
    void OnRecv(long long handle, const char* data, int len) override;
    using INetEventHandle::OnRecv;

private:
    void Deliver(const char* data, int len);

    // Written while no connection exists, read by every thread.
    std::string streamKey;
    int32_t port = 0;
    std::string ip;
    std::string sessionId;

    std::atomic<bool> startPending{false};
    std::atomic<bool> started{false};
    std::atomic<bool> dataReceived{false};

    std::atomic<IStreamCallback*> callback{nullptr};
    std::atomic<IWebSocketClient*> client{nullptr};

    vms::ReusableBuffer frame;  ///< receive thread only

    std::atomic<int> connectTimeoutMs{3000};
};
