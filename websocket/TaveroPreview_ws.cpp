#include "websocket/TaveroPreview_ws.h"

#include <json/value.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <utility>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "platform/IWebSocketClient.h"
#include "platform/Json.h"
#include "videodevice/IStreamCallback.h"
#include "websocket/ClientText.h"
#include "websocket/PreviewFrame.h"

namespace {

using vms::kDeviceFrameHeaderSize;
using vms::kStreamFrameHeaderSize;

constexpr std::chrono::milliseconds kLongestConnect{86'400'000};
constexpr int64_t kCountLogSeconds = 2;
constexpr const char* kConnectionLost = "3";

int64_t SystemSeconds() {
    return std::time(nullptr);
}

std::string SessionOf(const char* path) {
    if (path == nullptr)
        return {};
    Json::Value description;
    if (!vms::ParseJson(path, description))
        return vms::AfterEqualsSign(path);
    std::string session;
    vms::ReadString(description, "sessionId", session);
    return vms::AfterEqualsSign(session);
}

Json::Value PlayRequest(int channel, int stream, const std::string& session) {
    Json::Value request;
    request["action"] = "play";
    request["data"]["channel"] = channel;
    request["data"]["stream"] = stream;
    request["data"]["sessionID"] = session;
    return request;
}

Json::Value StopRequest(const std::string& session) {
    Json::Value request;
    request["action"] = "stop";
    request["data"]["sessionID"] = session;
    return request;
}

}  // namespace

TaveroPreview_ws::TaveroPreview_ws(__tagTvVideoParam* device, const char* path)
    : TaveroPreview_ws(device, path, {}) {}

TaveroPreview_ws::TaveroPreview_ws(__tagTvVideoParam* device, const char* path, vms::Clock clock)
    : sessionId(SessionOf(path)), now(clock ? std::move(clock) : vms::Clock(SystemSeconds)) {
    if (device == nullptr)
        return;
    ip = device->ip;
    port = device->port;
    secure = device->httpsEnable;
}

TaveroPreview_ws::~TaveroPreview_ws() {
    if (IWebSocketClient* const old = client.exchange(nullptr))
        old->Release();
}

void TaveroPreview_ws::SetConnectTimeout(std::chrono::milliseconds time) {
    time = std::clamp(time, std::chrono::milliseconds(1), kLongestConnect);
    connectTimeoutMs = static_cast<int>(time.count());
}

int TaveroPreview_ws::StartPreview(std::string key, int channelNumber, int streamNumber,
                                   IStreamCallback* sink) {
    // Released first: its events read what is about to change.
    if (IWebSocketClient* const old = client.exchange(nullptr))
        old->Release();
    channel = channelNumber;
    stream = streamNumber;
    IWebSocketClient* const fresh = CreateWebSocketClient();
    if (fresh == nullptr) {
        VMS_LOG(3, "StartPreview",
                "[ip=%s, port=%d, ch=%d]CreateWebSocketClient failed, _USE_WS not defined",
                ip.c_str(), port, channel);
        return -1;
    }
    fresh->SetEventHandle(this);
    started = true;
    VMS_LOG(1, "StartPreview", "[ip=%s, port=%d, ch=%d]ws start", ip.c_str(), port, channel);
    streamKey = std::move(key);
    callback = sink;
    playPending = true;
    client = fresh;
    fresh->Connect(ip.c_str(), port, "", "websocket", connectTimeoutMs, secure);
    return 0;
}

void TaveroPreview_ws::StopPreview(std::string) {
    started = false;
    IWebSocketClient* const current = client;
    if (current == nullptr)
        return;
    const std::string text = vms::SendRequest(*current, StopRequest(sessionId));
    VMS_LOG(1, "StopPreview", "[ip=%s, port=%d, ch=%d]ws send:%s, ", ip.c_str(), port, channel,
            text.c_str());
}

void TaveroPreview_ws::RequestStopGetPreviewStream() {
    if (IWebSocketClient* const current = client)
        current->Stop();
}

bool TaveroPreview_ws::GetCloseGetStreamStatus() {
    IWebSocketClient* const current = client;
    return current != nullptr && current->GetCloseStatus();
}

std::string TaveroPreview_ws::GetStreamUri() {
    return streamKey;
}

int TaveroPreview_ws::GetTalkEncodeType() {
    return 0;
}

void TaveroPreview_ws::OnConnect(long long, const char*, int) {
    VMS_LOG(1, "OnConnect", "[ip=%s, port=%d, ch=%d]ws connect", ip.c_str(), port, channel);
    IWebSocketClient* const current = client;
    if (!playPending || current == nullptr)
        return;
    const std::string text = vms::SendRequest(*current, PlayRequest(channel, stream, sessionId));
    VMS_LOG(1, "OnConnect", "[ip=%s, port=%d, ch=%d]ws send:%s, ", ip.c_str(), port, channel,
            text.c_str());
    playPending = false;
}

void TaveroPreview_ws::OnClose(long long, int, const char* msg) {
    const std::string text = msg != nullptr ? msg : "";
    VMS_LOG(1, "OnClose", "[ip=%s, port=%d, ch=%d]ws close, msg=%s", ip.c_str(), port, channel,
            text.c_str());
    IStreamCallback* const sink = callback;
    if (started && dataReceived && sink != nullptr)
        sink->MsgCallback(streamKey, kConnectionLost);
}

void TaveroPreview_ws::OnRecv(long long, const char* data, int len) {
    if (data == nullptr || len <= 0)
        return;
    if (data[0] == '{') {
        VMS_LOG(1, "OnRecv", "[ip=%s, port=%d, ch=%d]ws recv:%s", ip.c_str(), port, channel,
                vms::LoggableText(data, len).c_str());
    } else if (len <= static_cast<int>(kDeviceFrameHeaderSize)) {
        VMS_LOG(3, "OnRecv", "[ip=%s, port=%d, ch=%d]ws recv unknown data:datalen=%d", ip.c_str(),
                port, channel, len);
    } else {
        dataReceived = true;
        Deliver(data, len);
    }
}

void TaveroPreview_ws::Deliver(const char* data, int len) {
    const size_t payload = static_cast<size_t>(len) - kDeviceFrameHeaderSize;
    const size_t size = kStreamFrameHeaderSize + payload;
    char* const out = frame.Reserve(size);
    const vms::PreviewFrame info = vms::ConvertPreviewHeader(data, out);
    if (info.isVideo && std::exchange(logFirstVideo, false)) {
        VMS_LOG(0, "OnRecv", "recv stream, width=%d, height=%d, TimeStamp=%d",
                static_cast<int>(info.width), static_cast<int>(info.height),
                static_cast<int>(info.timestamp));
    }
    std::memcpy(out + kStreamFrameHeaderSize, data + kDeviceFrameHeaderSize, payload);
    if (IStreamCallback* const sink = callback)
        sink->SteramCallback(streamKey, out, static_cast<int>(size));
    frame.EndUse(size);
    if (info.isVideo)
        CountVideo(info.timestamp, info.serial);
}

void TaveroPreview_ws::CountVideo(uint32_t timestamp, uint32_t serial) {
    ++frameCount;
    const int64_t second = now();
    if (lastCountLog == 0) {
        lastCountLog = second;
    } else if (second - lastCountLog > kCountLogSeconds) {
        VMS_LOG(1, "OnRecv",
                "[ip=%s, port=%d, ch=%d]ws recv stream count=%d, ulTimeStamp=%d, ucSerialNum=%d",
                ip.c_str(), port, channel, static_cast<int>(frameCount),
                static_cast<int>(timestamp), static_cast<int>(serial));
        lastCountLog = second;
    }
}
