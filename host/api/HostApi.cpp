#include "host/api/HostApi.h"

#include <memory>
#include <utility>

#include "host/api/Metrics.h"
#include "host/text/JsonText.h"

namespace vms::host {
namespace {

void SendJson(HttpReply& reply, const Json::Value& value) {
    reply.Send({200, "application/json", CompactJson(value) + "\n", {}});
}

Json::Value PlayerText(const PlayerInfo& player) {
    Json::Value text(Json::objectValue);
    text["id"] = static_cast<Json::Int64>(player.id);
    text["address"] = player.address;
    text["port"] = player.port;
    text["since"] = static_cast<Json::Int64>(player.since);
    text["kind"] = player.kind;
    text["key"] = player.key;
    if (!player.device.empty()) {
        text["device"] = player.device;
        text["channel"] = player.channel;
        text["stream"] = player.stream;
    }
    text["sentUnits"] = static_cast<Json::UInt64>(player.counts.sentUnits);
    text["sentBytes"] = static_cast<Json::UInt64>(player.counts.sentBytes);
    text["droppedUnits"] = static_cast<Json::UInt64>(player.counts.droppedUnits);
    text["queuedUnits"] = static_cast<Json::UInt64>(player.counts.queuedUnits);
    text["queuedBytes"] = static_cast<Json::UInt64>(player.counts.queuedBytes);
    return text;
}

Json::Value StreamsText(const std::vector<PlayerInfo>& players) {
    Json::Value text(Json::objectValue);
    text["streams"] = Json::Value(Json::arrayValue);
    for (const PlayerInfo& player : players)
        text["streams"].append(PlayerText(player));
    return text;
}

Json::Value HealthText(const HostConfig& config) {
    Json::Value text(Json::objectValue);
    text["status"] = "ok";
    text["modules"] = Json::Value(Json::arrayValue);
    for (const ModuleConfig& module : config.modules)
        text["modules"].append(module.name);
    return text;
}

Json::Value FactsText(const HostFacts& facts) {
    Json::Value text(Json::objectValue);
    text["version"] = facts.version;
    text["secure"] = facts.isSecure;
    text["rtsp"] = Json::Value(Json::nullValue);
    if (facts.rtspPort != 0)
        text["rtsp"]["port"] = facts.rtspPort;
    return text;
}

}  // namespace

HostApi::HostApi(BusClient& bus, DeviceLists& devices, const StatusBoard& board,
                 PlayerFigures players, EventLog* events)
    : shares_(std::make_shared<DeviceShares>(DeviceShares::Limits{})),
      commands_(bus, BusClient::kPatience, shares_),
      devices_(devices),
      asker_(bus, devices, shares_),
      deviceApi_(devices, asker_, events),
      records_(asker_),
      ptz_(bus, asker_),
      board_(board),
      players_(std::move(players)) {
    if (events != nullptr)
        events_.emplace(*events);
}

void HostApi::AddTo(HttpRouter& router) {
    router.Add("POST", "/api/commands", [this](const HttpRequest& request, const auto& reply) {
        commands_.Serve(request, reply);
    });
    deviceApi_.AddTo(router);
    records_.AddTo(router);
    ptz_.AddTo(router);
    if (events_)
        events_->AddTo(router);
    if (talk_)
        talk_->AddTo(router);
    router.Add("GET", "/api/status", [this](const HttpRequest&, const auto& reply) {
        SendJson(*reply, board_.Snapshot());
    });
    router.Add("GET", "/api/streams", [this](const HttpRequest&, const auto& reply) {
        SendJson(*reply, StreamsText(players_.all()));
    });
    router.Add("GET", "/api/host", [this](const HttpRequest&, const auto& reply) {
        SendJson(*reply, FactsText(facts_));
    });
    router.Add("GET", "/metrics", [this](const HttpRequest&, const auto& reply) {
        reply->Send({200, "text/plain; version=0.0.4", MetricsText(players_.summary()), {}});
    });
    router.Add(
        "GET", "/healthz",
        [this](const HttpRequest&, const auto& reply) {
            SendJson(*reply, HealthText(devices_.Settings()));
        },
        HttpPlace::kIoThread);
}

}  // namespace vms::host
