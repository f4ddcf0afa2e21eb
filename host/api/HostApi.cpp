#include "host/api/HostApi.h"

#include "host/JsonText.h"
#include "host/api/Metrics.h"

namespace vms {
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
    text["key"] = player.key;
    text["sentUnits"] = static_cast<Json::UInt64>(player.counts.sentUnits);
    text["sentBytes"] = static_cast<Json::UInt64>(player.counts.sentBytes);
    text["droppedUnits"] = static_cast<Json::UInt64>(player.counts.droppedUnits);
    text["queuedUnits"] = static_cast<Json::UInt64>(player.counts.queuedUnits);
    text["queuedBytes"] = static_cast<Json::UInt64>(player.counts.queuedBytes);
    return text;
}

Json::Value StreamsText(const StreamServer& streams) {
    Json::Value text(Json::objectValue);
    text["streams"] = Json::Value(Json::arrayValue);
    for (const PlayerInfo& player : streams.Players())
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

}  // namespace

HostApi::HostApi(BusClient& bus, const DeviceLists& devices, const StatusBoard& board,
                 const StreamServer& streams)
    : commands_(bus) {
    router_.Add("POST", "/api/commands", [this](const HttpRequest& request, HttpReply& reply) {
        commands_.Serve(request, reply);
    });
    router_.Add("GET", "/api/devices", [&devices](const HttpRequest&, HttpReply& reply) {
        SendJson(reply, DevicesText(devices.Current()));
    });
    router_.Add("GET", "/api/status", [&board](const HttpRequest&, HttpReply& reply) {
        SendJson(reply, board.Snapshot());
    });
    router_.Add("GET", "/api/streams", [&streams](const HttpRequest&, HttpReply& reply) {
        SendJson(reply, StreamsText(streams));
    });
    router_.Add("GET", "/metrics", [&streams](const HttpRequest&, HttpReply& reply) {
        reply.Send({200, "text/plain; version=0.0.4", MetricsText(streams.Summary()), {}});
    });
    router_.Add("GET", "/healthz", [&devices](const HttpRequest&, HttpReply& reply) {
        SendJson(reply, HealthText(devices.Current()));
    });
}

}  // namespace vms
