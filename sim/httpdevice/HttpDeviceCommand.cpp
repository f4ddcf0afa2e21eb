#include "sim/httpdevice/HttpDeviceCommand.h"

#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <CLI/CLI.hpp>

#include "sim/httpdevice/DeviceConfigFile.h"
#include "sim/httpdevice/Simulator.h"
#include "sim/process/Simulation.h"

namespace vms::sim::httpdevice {

namespace {

struct Arguments {
    int count = -1;
    int recorders = 0;
    int channels = 4;
    uint16_t portBase = 0;
    std::string config;
    std::string codec = "h264";
    std::string audio = "alaw";
    std::string platform = "V6";
    std::string login = "sha256-1";
    std::vector<std::string> faults;
    DeviceConfig base;
    SimulatorOptions options;
};

void AddCountOptions(CLI::App& command, Arguments& a) {
    command.add_option("--count", a.count, "Number of cameras; 1 when there is no recorder either")
        ->check(CLI::Range(0, 20000));
    command.add_option("--nvr", a.recorders, "Number of recorders, behind the cameras")
        ->check(CLI::Range(0, 20000));
    command.add_option("--channels", a.channels, "Channels of each recorder")
        ->check(CLI::Range(1, 256))
        ->capture_default_str();
    command
        .add_option("--port-base", a.portBase, "HTTP port of the first device, 0 = any free ones")
        ->capture_default_str();
    command.add_flag("--https", a.base.https, "An HTTPS port for each device, any free one");
    command.add_option("--bind", a.base.bind, "Address that the devices listen on")
        ->check(CLI::ValidIPV4)
        ->capture_default_str();
    command.add_option("--config", a.config, "JSON file that lists devices")
        ->check(CLI::ExistingFile)
        ->excludes("--count")
        ->excludes("--nvr")
        ->excludes("--port-base");
}

void AddDeviceOptions(CLI::App& command, Arguments& a) {
    command.add_option("--user", a.base.user, "User name")->capture_default_str();
    command.add_option("--password", a.base.password, "Password")->capture_default_str();
    command.add_option("--name", a.base.name, "Name; several devices get a number behind it")
        ->capture_default_str();
    command.add_option("--platform", a.platform, "Platform generation")
        ->check(CLI::IsMember({"V1", "V6"}))
        ->capture_default_str();
    command.add_option("--login", a.login, "Login family")
        ->check(CLI::IsMember({"sha256-1", "quorix"}))
        ->capture_default_str();
    command.add_option("--iterations", a.base.iterations, "Rounds of the login proof")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    command.add_option("--session-seconds", a.base.sessionSeconds, "Life of an idle session")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    command.add_option("--codec", a.codec, "Codec of the main stream")
        ->check(CLI::IsMember({"h264", "h265"}))
        ->capture_default_str();
    command.add_option("--audio", a.audio, "Codec of sound and talk")
        ->check(CLI::IsMember({"alaw", "mulaw", "aac"}))
        ->capture_default_str();
    command.add_flag("--mute", a.base.mute, "Streams without sound");
    command.add_option("--days", a.base.recordedDays, "Days with recordings")
        ->check(CLI::Range(0, 3650))
        ->capture_default_str();
    command.add_option("--piece-seconds", a.base.pieceSeconds, "Length of a recorded piece")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    command
        .add_option("--recorded-until", a.base.recordedUntil,
                    "End of the recordings in seconds since 1970, 0 = now")
        ->check(CLI::Range(int64_t{0}, int64_t{std::numeric_limits<int32_t>::max()}));
    command.add_option("--face-interval-ms", a.base.faceIntervalMs, "Pace of face events")
        ->check(CLI::Range(1, 3600000))
        ->capture_default_str();
}

void AddServerOptions(CLI::App& command, Arguments& a) {
    command
        .add_option("--fault", a.faults, "DEVICES:NAME[@ENDPOINT][=NUMBER]; devices as 3, 2-5 or *")
        ->allow_extra_args(false);
    command.add_option("--threads", a.options.threads, "Network threads for all devices")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    command.add_option("--control-port", a.options.controlPort,
                       "Port on 127.0.0.1 for tests, 0 = any");
    command.add_option("--stats-file", a.options.statsFile, "Write the state there at the end");
    command.add_option("--media-cache", a.options.mediaCache,
                       "Folder that keeps the encoded clips for the next start");
}

std::string FaultHelp() {
    std::string text = "Faults:\n";
    for (const DeviceFaultInfo& info : DeviceFaultCatalogue()) {
        std::string name = info.name;
        if (*info.defaultValue != '\0')
            name += std::string("[=") + info.defaultValue + ']';
        text += "  " + name + std::string(name.size() < 26 ? 26 - name.size() : 1, ' ') +
                info.help + '\n';
    }
    return text;
}

void AddCounted(const Arguments& a, std::vector<DeviceConfig>& devices) {
    const int cameras = a.count >= 0 ? a.count : (a.recorders > 0 ? 0 : 1);
    const int total = cameras + a.recorders;
    if (a.portBase + total > 65536)
        throw std::invalid_argument("--port-base and the number of devices go beyond port 65535");
    for (int i = 0; i < total; ++i) {
        DeviceConfig config = a.base;
        config.recorder = i >= cameras;
        config.channels = config.recorder ? a.channels : 1;
        if (a.portBase != 0)
            config.port = static_cast<uint16_t>(a.portBase + i);
        if (total > 1)
            config.name += ' ' + std::to_string(i);
        devices.push_back(std::move(config));
    }
}

SimulatorOptions BuildOptions(Arguments& a) {
    SimulatorOptions options = a.options;
    a.base.version6 = a.platform == "V6";
    a.base.h265 = a.codec == "h265";
    a.base.audio = AudioNamed(a.audio);
    a.base.login = a.login == "quorix" ? LoginFamily::kQuorix : LoginFamily::kSha256;
    if (a.config.empty())
        AddCounted(a, options.devices);
    else
        options.devices = ReadDeviceFile(a.config, a.base);
    for (size_t i = 0; i < options.devices.size(); ++i) {
        options.devices[i].index = i;
        CheckConfig(options.devices[i]);
    }
    for (const std::string& text : a.faults)
        AssignDeviceFault(text, options.devices);
    return options;
}

}  // namespace

void AddHttpDeviceCommand(CLI::App& app, int& exitCode) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand(
        "httpdevice",
        "Simulates cameras and recorders of the HTTP/JSON family until it is stopped");
    AddCountOptions(*command, *arguments);
    AddDeviceOptions(*command, *arguments);
    AddServerOptions(*command, *arguments);
    command->footer(FaultHelp());
    command->callback([arguments, &exitCode] {
        exitCode = RunSimulation<Simulator>([&] { return BuildOptions(*arguments); });
    });
}

}  // namespace vms::sim::httpdevice
