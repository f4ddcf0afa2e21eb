#include "sim/httpdevice/Simulator.h"

#include <fstream>
#include <stdexcept>
#include <utility>

#include "sim/process/FileLimit.h"
#include "sim/process/JsonLine.h"

namespace vms::sim::httpdevice {

namespace {

constexpr const char* kLoopback = "127.0.0.1";

Json::Value Describe(const DeviceTable::Entry& entry) {
    const DeviceConfig& config = entry.device->config();
    Json::Value json(Json::objectValue);
    json["index"] = Json::UInt64{config.index};
    json["kind"] = config.recorder ? "NVR" : "IPC";
    json["platform"] = config.version6 ? "V6" : "V1";
    json["login"] = NameOf(config.login);
    json["name"] = config.name;
    // The address that a client on this machine can use.
    json["address"] = config.bind == "0.0.0.0" ? kLoopback : config.bind;
    json["port"] = entry.ports.http;
    json["httpsPort"] = entry.ports.https;
    json["user"] = config.user;
    json["password"] = config.password;
    json["channels"] = config.channels;
    json["faults"] = Json::arrayValue;
    for (const std::string& fault : entry.device->faults().Describe())
        json["faults"].append(fault);
    return json;
}

}  // namespace

Simulator::Simulator(const SimulatorOptions& options)
    : library_(options.mediaCache),
      server_(options.threads),
      controlApi_(table_, server_),
      control_(1) {
    RaiseFileLimit(options.devices.size() * 16 + 4096);
    for (const DeviceConfig& config : options.devices) {
        DeviceTable::Entry entry{std::make_unique<Device>(config, library_), {}};
        entry.ports = server_.Open(*entry.device);
        table_.entries.push_back(std::move(entry));
    }
    const auto handler = [this](const HttpRequest& request) { return controlApi_.Handle(request); };
    controlPort_ = control_.Listen(kLoopback, options.controlPort, handler, controlCounters_);
    server_.Start();
    control_.Start();
}

Simulator::~Simulator() {
    control_.Stop();
    server_.Stop();
}

void Simulator::Announce(std::ostream& out) const {
    for (const DeviceTable::Entry& entry : table_.entries)
        out << JsonLine(Describe(entry)) << '\n';
    Json::Value ready(Json::objectValue);
    ready["ready"] = true;
    ready["devices"] = Json::UInt64{table_.entries.size()};
    ready["control"] = std::string("http://") + kLoopback + ':' + std::to_string(controlPort_);
    out << JsonLine(ready) << std::endl;
}

void Simulator::WriteStats(const std::string& path) const {
    Json::Value root(Json::objectValue);
    for (const DeviceTable::Entry& entry : table_.entries)
        root["devices"].append(entry.device->State());
    std::ofstream file(path, std::ios::trunc);
    file << JsonLine(root) << std::endl;
    if (!file)
        throw std::runtime_error("cannot write " + path);
}

}  // namespace vms::sim::httpdevice
