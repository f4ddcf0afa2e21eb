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

/// The configured devices, without their passwords.
Json::Value DevicesText(const HostConfig& config) {
    Json::Value devices(Json::arrayValue);
    for (const ModuleConfig& module : config.modules) {
        for (Json::Value device : module.devices) {
            device.removeMember("password");
            device["module"] = module.name;
            devices.append(device);
        }
    }
    Json::Value text(Json::objectValue);
    text["devices"] = devices;
    return text;
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

HostApi::HostApi(BusClient& bus, const DeviceLists& devices, const StatusBoard& board,
                 PlayerFigures players)
    : commands_(bus), devices_(devices), board_(board), players_(std::move(players)) {}

void HostApi::AddTo(HttpRouter& router) const {
    router.Add("POST", "/api/commands", [this](const HttpRequest& request, const auto& reply) {
        commands_.Serve(request, reply);
    });
    router.Add("GET", "/api/devices", [this](const HttpRequest&, const auto& reply) {
        SendJson(*reply, DevicesText(devices_.Current()));
    });
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
            SendJson(*reply, HealthText(devices_.Current()));
        },
        HttpPlace::kIoThread);
}

}  // namespace vms::host
