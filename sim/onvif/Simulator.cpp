#include "sim/onvif/Simulator.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "sim/process/FileLimit.h"
#include "sim/process/JsonLine.h"

namespace vms::sim {

namespace {

// The address that a client on this machine can use.
std::string Reachable(const std::string& bind) {
    return bind == "0.0.0.0" ? "127.0.0.1" : bind;
}

}  // namespace

Simulator::Simulator(const SimulatorOptions& options)
    : rtspPort_(options.rtsp.port), http_(options.threads) {
    RaiseFileLimit(options.cameras.size() * 4 + 4096);
    for (const CameraConfig& config : options.cameras) {
        cameras_.push_back(std::make_unique<Camera>(config));
        services_.push_back(std::make_unique<CameraService>(*cameras_.back()));
        OpenPort(*cameras_.back(), *services_.back());
    }
    if (options.rtsp.enabled) {
        rtsp_ = std::make_unique<RtspServer>(options.rtsp, cameras_);
        rtspPort_ = rtsp_->port();
    }
    for (const auto& camera : cameras_)
        camera->SetRtspPort(rtspPort_);
    http_.Start();
    if (options.discovery.enabled)
        discovery_ = std::make_unique<DiscoveryResponder>(options.discovery, cameras_);
}

Simulator::~Simulator() {
    discovery_.reset();
    http_.Stop();
    rtsp_.reset();
}

void Simulator::OpenPort(Camera& camera, CameraService& service) {
    const CameraConfig& config = camera.config();
    if (camera.faults().Has(Fault::kRefused)) {
        camera.SetPort(http_.Reserve(config.bind, config.port));
        return;
    }
    const auto handler = [&service](const HttpRequest& request) { return service.Handle(request); };
    camera.SetPort(http_.Listen(config.bind, config.port, handler, camera.stats().connections()));
}

Json::Value Simulator::Describe(const Camera& camera) const {
    const CameraConfig& config = camera.config();
    const std::string host = Reachable(config.bind);
    Json::Value json(Json::objectValue);
    json["index"] = Json::UInt64{config.index};
    json["name"] = config.name;
    json["uuid"] = config.uuid;
    json["address"] = host;
    json["port"] = camera.port();
    json["user"] = config.user;
    json["password"] = config.password;
    json["personality"] = camera.personality().name;
    json["profiles"] = camera.ProfileCount();
    json["deviceService"] = camera.ServiceUrl(host, kDevicePath);
    json["streams"] = Json::arrayValue;
    for (int i = 0; i < std::min(3, camera.ProfileCount()); ++i)
        json["streams"].append(camera.StreamUrl(host, i));
    json["faults"] = Json::arrayValue;
    for (const std::string& fault : camera.faults().Describe())
        json["faults"].append(fault);
    return json;
}

void Simulator::Announce(std::ostream& out) const {
    for (const auto& camera : cameras_)
        out << JsonLine(Describe(*camera)) << '\n';
    Json::Value ready(Json::objectValue);
    ready["ready"] = true;
    ready["cameras"] = Json::UInt64{cameras_.size()};
    ready["rtspPort"] = rtsp_ ? rtspPort_ : 0;
    ready["discovery"] = discovery_ != nullptr;
    out << JsonLine(ready) << std::endl;
}

void Simulator::WriteStats(const std::string& path) const {
    Json::Value list(Json::arrayValue);
    for (const auto& camera : cameras_) {
        Json::Value json = camera->stats().ToJson();
        json["index"] = Json::UInt64{camera->config().index};
        json["port"] = camera->port();
        list.append(std::move(json));
    }
    Json::Value root(Json::objectValue);
    root["cameras"] = std::move(list);
    std::ofstream file(path, std::ios::trunc);
    file << JsonLine(root) << std::endl;
    if (!file)
        throw std::runtime_error("cannot write " + path);
}

}  // namespace vms::sim
