#include "host/play/PlayerLink.h"

#include <utility>

#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "platform/Json.h"
#include "platform/WebSocketSettings.h"

namespace vms::host {
namespace {

constexpr int kConnectMs = 10'000;
constexpr size_t kMostWaiting = size_t{8} << 20;  ///< bytes

LinkEvent ReadText(const std::string& text) {
    Json::Value document;
    LinkEvent event{LinkEvent::Kind::kMessage, {}, 0, 0};
    if (!ParseJson(text.c_str(), document))
        return event;
    ReadInt(document, "cmd", event.command);
    if (ReadInt(document, "result", event.result))
        event.kind = LinkEvent::Kind::kAnswer;
    else
        ReadString(document, "body", event.bytes);
    return event;
}

WebSocketSettings SettingsFor(const LinkTrust& trust) {
    WebSocketSettings settings = GetWebSocketSettings();
    settings.verifyCertificates = trust.fingerprint.empty() && !trust.isInsecure;
    settings.certificateFingerprint = trust.fingerprint;
    return settings;
}

}  // namespace

PlayerLink::PlayerLink(const StreamUrl& url, const LinkTrust& trust)
    : client_(CreateWebSocketClient(SettingsFor(trust))) {
    client_->SetEventHandle(this);
    if (!client_->Connect(url.host.c_str(), url.port, url.path.c_str(), "", kConnectMs, url.secure))
        throw HostError("cannot connect to " + url.host + ":" + std::to_string(url.port));
}

PlayerLink::~PlayerLink() {
    {
        MutexLock lock(mutex_);
        ending_ = true;
        taken_.NotifyAll();
    }
    client_.reset();
}

std::optional<LinkEvent> PlayerLink::Take() {
    MutexLock lock(mutex_);
    if (events_.empty())
        return std::nullopt;
    waiting_.Take();
    LinkEvent event = std::move(events_.front());
    events_.pop_front();
    waitingBytes_ -= event.bytes.size();
    taken_.NotifyAll();
    return event;
}

bool PlayerLink::Request(int command, const std::string& key, const std::string& body) {
    Json::Value request(Json::objectValue);
    request["cmd"] = command;
    request["key"] = key;
    request["body"] = body;
    const std::string text = CompactJson(request);
    return client_->Send(text.c_str(), static_cast<int>(text.size()));
}

bool PlayerLink::SendUnit(const std::string& unit) {
    return client_->SendBinary(unit.data(), static_cast<int>(unit.size()));
}

void PlayerLink::OnConnect(long long, const char*, int) {
    Put({LinkEvent::Kind::kOpen, {}, 0, 0});
}

void PlayerLink::OnClose(long long, int, const char* msg) {
    Put({LinkEvent::Kind::kClosed, msg != nullptr ? msg : "", 0, 0});
}

/// A unit's first byte is 0, that of a text a brace.
void PlayerLink::OnRecv(long long, const char* data, int len) {
    std::string bytes(data, static_cast<size_t>(len > 0 ? len : 0));
    if (!bytes.empty() && bytes.front() == '{')
        Put(ReadText(bytes));
    else
        Put({LinkEvent::Kind::kUnit, std::move(bytes), 0, 0});
}

void PlayerLink::Put(LinkEvent event) {
    MutexLock lock(mutex_);
    while (waitingBytes_ > kMostWaiting && !ending_)
        taken_.Wait(mutex_);
    waitingBytes_ += event.bytes.size();
    events_.push_back(std::move(event));
    waiting_.Raise();
}

}  // namespace vms::host
