#include "websocket/TaveroFaceFrame_ws.h"

#include <json/value.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "platform/IWebSocketClient.h"
#include "videodevice/FaceOnClose.h"
#include "videodevice/IStreamCallback.h"
#include "websocket/ClientText.h"
#include "websocket/FacePacket.h"

namespace {

using vms::kFaceHeaderSize;

constexpr std::chrono::milliseconds kLongestConnect{86'400'000};

Json::Value StartRequest(const std::string& session) {
    Json::Value subscription;
    subscription["packet_types"].append(4);
    subscription["packet_types"].append(5);
    subscription["event_image"] = false;
    subscription["face_image"] = false;
    Json::Value request;
    request["action"] = "start";
    request["data"]["sessionID"] = session;
    request["data"]["subscription"] = subscription;
    return request;
}

Json::Value StopRequest() {
    Json::Value request;
    request["action"] = "stop";
    return request;
}

}  // namespace

TaveroFaceFrame_ws::TaveroFaceFrame_ws(__tagTvVideoParam* device, const char* path)
    : sessionId(path != nullptr ? vms::AfterEqualsSign(path) : std::string()) {
    if (device == nullptr)
        return;
    ip = device->ip;
    port = device->port;
}

TaveroFaceFrame_ws::~TaveroFaceFrame_ws() {
    if (IWebSocketClient* const old = client.exchange(nullptr))
        old->Release();
}

void TaveroFaceFrame_ws::SetConnectTimeout(std::chrono::milliseconds time) {
    time = std::clamp(time, std::chrono::milliseconds(1), kLongestConnect);
    connectTimeoutMs = static_cast<int>(time.count());
}

int TaveroFaceFrame_ws::StartFaceFrame(std::string key, int, IStreamCallback* sink) {
    if (IWebSocketClient* const old = client.exchange(nullptr))
        old->Release();
    IWebSocketClient* const fresh = CreateWebSocketClient();
    if (fresh == nullptr) {
        VMS_LOG(3, "StartFaceFrame",
                "[ip=%s, port=%d]CreateWebSocketClient failed, _USE_WS not defined", ip.c_str(),
                port);
        return -1;
    }
    fresh->SetEventHandle(this);
    started = true;
    VMS_LOG(1, "StartFaceFrame", "[ip=%s, port=%d]face frame ws start", ip.c_str(), port);
    streamKey = std::move(key);
    callback = sink;
    startPending = true;
    client = fresh;
    fresh->Connect(ip.c_str(), port, "events", "websocket", connectTimeoutMs, false);
    return 0;
}

void TaveroFaceFrame_ws::StopFaceFrame(std::string) {
    started = false;
    IWebSocketClient* const current = client;
    if (current == nullptr)
        return;
    const std::string text = vms::SendRequest(*current, StopRequest());
    VMS_LOG(1, "StopFaceFrame", "[ip=%s, port=%d]face frame ws send:%s, ", ip.c_str(), port,
            text.c_str());
}

void TaveroFaceFrame_ws::RequestStopGetPreviewStream() {
    if (IWebSocketClient* const current = client)
        current->Stop();
}

bool TaveroFaceFrame_ws::GetCloseGetStreamStatus() {
    IWebSocketClient* const current = client;
    return current != nullptr && current->GetCloseStatus();
}

std::string TaveroFaceFrame_ws::GetStreamUri() {
    return streamKey;
}

void TaveroFaceFrame_ws::OnConnect(long long, const char*, int) {
    VMS_LOG(1, "OnConnect", "[ip=%s, port=%d]face frame ws connect", ip.c_str(), port);
    IWebSocketClient* const current = client;
    if (!startPending || current == nullptr)
        return;
    const std::string text = vms::SendRequest(*current, StartRequest(sessionId));
    VMS_LOG(1, "OnConnect", "[ip=%s, port=%d]face frame ws send:%s, ", ip.c_str(), port,
            text.c_str());
    startPending = false;
}

void TaveroFaceFrame_ws::OnClose(long long, int, const char* msg) {
    const std::string text = msg != nullptr ? msg : "";
    VMS_LOG(1, "OnClose", "[ip=%s, port=%d]face frame ws close, msg=%s", ip.c_str(), port,
            text.c_str());
    IStreamCallback* const sink = callback;
    if (started && dataReceived && sink != nullptr)
        sink->MsgCallback(streamKey, g_faceOnClose);
}

void TaveroFaceFrame_ws::OnRecv(long long, const char* data, int len) {
    if (data == nullptr || len <= 0)
        return;
    if (len < static_cast<int>(kFaceHeaderSize)) {
        VMS_LOG(3, "OnRecv", "[ip=%s, port=%d]face frame ws recv unknown data: datalen=%d",
                ip.c_str(), port, len);
        return;
    }
    dataReceived = true;
    if (!vms::IsFacePacket(data)) {
        VMS_LOG(3, "OnRecv", "[ip=%s, port=%d]face frame ws recv unknown data: signature != 0xa5a5",
                ip.c_str(), port);
        return;
    }
    Deliver(data, len);
}

void TaveroFaceFrame_ws::Deliver(const char* data, int len) {
    IStreamCallback* const sink = callback;
    if (sink == nullptr)
        return;
    const auto size = static_cast<size_t>(len);
    char* const out = frame.Reserve(size);
    vms::ConvertFaceHeader(data, out);
    std::memcpy(out + kFaceHeaderSize, data + kFaceHeaderSize, size - kFaceHeaderSize);
    sink->SteramCallback(streamKey, out, len);
    frame.EndUse(size);
}
