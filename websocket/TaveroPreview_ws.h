#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "module/DeviceRecords.h"
#include "module/Export.h"
#include "platform/ReusableBuffer.h"
#include "videodevice/Clock.h"
#include "videodevice/IPreviewStreamServer.h"
#include "websocket/INetEventHandle.h"

class IWebSocketClient;

/// Live audio and video of one channel of a device that streams over WebSocket. Each frame reaches
/// the sink with the 32-byte header of media units in front of its payload.
///
/// Stopping and asking are thread-safe. StartPreview is thread-bound; a second one replaces the
/// connection. Events come on the client's receive thread. No operation waits for the device.
class VMS_DEVICEACCESS_API TaveroPreview_ws final : public IPreviewStreamServer,
                                                    public INetEventHandle {
public:
    /// @param device copied from; null = no address
    /// @param path   the session's description: JSON with "sessionId", or the session itself; what
    ///               precedes the first "=" does not count. May be null
    TaveroPreview_ws(__tagTvVideoParam* device, const char* path);

    /// @param now seconds since the epoch, for tests
    TaveroPreview_ws(__tagTvVideoParam* device, const char* path, vms::Clock now);

    /// Waits for an event that is being handled. Not from inside one.
    ~TaveroPreview_ws() override;
    TaveroPreview_ws(const TaveroPreview_ws&) = delete;
    TaveroPreview_ws& operator=(const TaveroPreview_ws&) = delete;

    /// For connections from now on: 3 s unless it is set. At least 1 ms, at most a day.
    void SetConnectTimeout(std::chrono::milliseconds time);

    // IPreviewStreamServer

    /// Starts connecting. @return 0, or -1 when there is no WebSocket client to be had
    int StartPreview(std::string key, int channelNumber, int streamNumber,
                     IStreamCallback* sink) override;
    /// Asks the device to stop; the connection stays. @param key not used
    void StopPreview(std::string key) override;
    void RequestStopGetPreviewStream() override;
    bool GetCloseGetStreamStatus() override;
    std::string GetStreamUri() override;
    /// @return 0: no talk over this connection
    int GetTalkEncodeType() override;

    // INetEventHandle

    void OnConnect(long long handle, const char* text, int len) override;
    void OnClose(long long handle, int code, const char* msg) override;
    void OnRecv(long long handle, const char* data, int len) override;
    using INetEventHandle::OnRecv;

private:
    void Deliver(const char* data, int len);
    void CountVideo(uint32_t timestamp, uint32_t serial);

    // Written while no connection exists, read by every thread.
    std::string streamKey;
    std::string ip;
    int32_t port = 0;
    bool secure = false;
    std::string sessionId;
    int32_t channel = 0;
    int32_t stream = 0;

    std::atomic<bool> playPending{false};
    std::atomic<bool> started{false};
    std::atomic<bool> dataReceived{false};

    // Receive thread only.
    int64_t lastCountLog = 0;  ///< second;  0 = nothing logged yet
    uint32_t frameCount = 0;   ///< video frames since construction
    bool logFirstVideo = true;

    std::atomic<IStreamCallback*> callback{nullptr};
    std::atomic<IWebSocketClient*> client{nullptr};

    const vms::Clock now;
    vms::ReusableBuffer frame;  ///< receive thread only

    std::atomic<int> connectTimeoutMs{3000};
};
