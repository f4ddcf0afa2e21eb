#include "sim/onvif/OnvifCommand.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <CLI/CLI.hpp>

#include "sim/onvif/ConfigFile.h"
#include "sim/onvif/FaultAssignment.h"
#include "sim/onvif/Simulator.h"
#include "sim/onvif/Uuid.h"
#include "sim/process/Simulation.h"

namespace vms::sim {

namespace {

struct Arguments {
    size_t count = 1;
    uint16_t portBase = 0;
    std::string config;
    std::string codec = "h264";
    std::string personality;
    std::vector<std::string> faults;
    CameraConfig base;
    SimulatorOptions options;
    bool noRtsp = false;
    bool noDiscovery = false;
    int discoveryDelay = 500;
};

void AddCameraOptions(CLI::App& command, Arguments& a) {
    command.add_option("--count", a.count, "Number of cameras")
        ->check(CLI::Range(0, 20000))
        ->capture_default_str();
    command
        .add_option("--port-base", a.portBase, "HTTP port of the first camera, 0 = any free ones")
        ->capture_default_str();
    command.add_option("--bind", a.base.bind, "Address that the cameras listen on")
        ->capture_default_str();
    command.add_option("--config", a.config, "JSON file that lists cameras")
        ->check(CLI::ExistingFile)
        ->excludes("--count")
        ->excludes("--port-base");
    command.add_option("--user", a.base.user, "User name, empty = no login")->capture_default_str();
    command.add_option("--password", a.base.password, "Password")->capture_default_str();
    command.add_option("--name", a.base.name, "Name; several cameras get a number behind it")
        ->capture_default_str();
    command.add_option("--profiles", a.base.profiles, "Profiles of each camera")
        ->check(CLI::Range(0, 2000))
        ->capture_default_str();
    command.add_option("--codec", a.codec, "Codec of the first profile")
        ->check(CLI::IsMember({"h264", "h265"}))
        ->capture_default_str();
    std::vector<std::string> names;
    for (const Personality& personality : Personalities())
        names.push_back(personality.name);
    command.add_option("--personality", a.personality, "One make for all instead of each in turn")
        ->check(CLI::IsMember(names));
    command
        .add_option("--fault", a.faults, "CAMERAS:NAME[@OPERATION][=VALUE]; cameras as 3, 2-5 or *")
        ->allow_extra_args(false);
}

void AddServerOptions(CLI::App& command, Arguments& a) {
    command.add_option("--threads", a.options.threads, "HTTP threads for all cameras")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    command.add_option("--stats-file", a.options.statsFile, "Write the counters there at the end");
    command.add_flag("--no-rtsp", a.noRtsp, "No media; stream URIs are answered all the same");
    command.add_option("--rtsp-port", a.options.rtsp.port, "RTSP port of all cameras, 0 = any")
        ->capture_default_str();
    command.add_option("--rtsp-bind", a.options.rtsp.bind, "Address that RTSP listens on")
        ->capture_default_str();
    command.add_flag("--rtsp-basic", a.options.rtsp.basic, "Accept Basic login besides Digest");
    command.add_option("--media-cache", a.options.rtsp.mediaCache,
                       "Folder that keeps the encoded clips for the next start");
}

void AddDiscoveryOptions(CLI::App& command, Arguments& a) {
    DiscoveryOptions& discovery = a.options.discovery;
    command.add_flag("--no-discovery", a.noDiscovery, "Do not answer probes");
    command
        .add_option("--discovery-interface", discovery.interfaces,
                    "Local address to listen for probes on, repeatable; default: every one")
        ->allow_extra_args(false)
        ->check(CLI::ValidIPV4);
    command
        .add_option("--discovery-delay-ms", a.discoveryDelay, "Answers are spread over this time")
        ->check(CLI::Range(0, 60000))
        ->capture_default_str();
    command
        .add_option("--discovery-burst", discovery.burst,
                    "Invented cameras that answer every probe at once")
        ->check(CLI::Range(0, 10000));
    command.add_option("--discovery-log", discovery.logFile,
                       "JSON line for each datagram received");
}

std::string FaultHelp() {
    std::string text = "Faults:\n";
    for (const FaultInfo& info : FaultCatalogue()) {
        std::string name = info.name;
        if (*info.defaultValue != '\0')
            name += std::string("[=") + info.defaultValue + ']';
        text += "  " + name + std::string(name.size() < 38 ? 38 - name.size() : 1, ' ') +
                info.help + '\n';
    }
    return text;
}

void AddCountedCameras(const Arguments& a, SimulatorOptions& options) {
    if (a.portBase != 0 && a.portBase + a.count > 65536)
        throw std::invalid_argument("--port-base and --count go beyond port 65535");
    for (size_t i = 0; i < a.count; ++i) {
        CameraConfig config = a.base;
        if (a.portBase != 0)
            config.port = static_cast<uint16_t>(a.portBase + i);
        if (a.count > 1)
            config.name += ' ' + std::to_string(i);
        options.cameras.push_back(std::move(config));
    }
}

void FillIn(CameraConfig& config, size_t index) {
    config.index = index;
    if (config.personality == nullptr)
        config.personality = &Personalities()[index % Personalities().size()];
    if (config.hardware.empty())
        config.hardware = config.personality->model;
    if (config.uuid.empty())
        config.uuid = NamedUuid("devsim camera " + std::to_string(index) + ' ' + config.name);
}

SimulatorOptions BuildOptions(Arguments& a) {
    SimulatorOptions options = a.options;
    a.base.mainIsH265 = a.codec == "h265";
    a.base.personality = FindPersonality(a.personality);
    if (a.config.empty())
        AddCountedCameras(a, options);
    else
        ReadConfigFile(a.config, a.base, options);
    for (size_t i = 0; i < options.cameras.size(); ++i)
        FillIn(options.cameras[i], i);
    for (const std::string& text : a.faults)
        AssignFault(text, options.cameras);
    options.rtsp.enabled = !a.noRtsp;
    options.discovery.enabled = !a.noDiscovery;
    options.discovery.maxDelay = std::chrono::milliseconds(a.discoveryDelay);
    return options;
}

}  // namespace

void AddOnvifCommand(CLI::App& app, int& exitCode) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("onvif", "Simulates ONVIF cameras until it is stopped");
    AddCameraOptions(*command, *arguments);
    AddServerOptions(*command, *arguments);
    AddDiscoveryOptions(*command, *arguments);
    command->footer(FaultHelp());
    command->callback([arguments, &exitCode] {
        exitCode = RunSimulation<Simulator>([&] { return BuildOptions(*arguments); });
    });
}

}  // namespace vms::sim
