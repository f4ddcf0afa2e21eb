#include <memory>
#include <utility>

#include "host/cli/Commands.h"
#include "host/cli/HostOptions.h"

namespace vms::host {
namespace {

constexpr int kUnset = -1;

struct PtzOptions {
    HostAccess host;
    std::string device;
    int channel = 0;
    std::string action;
    int speed = kUnset;
    int duration = kUnset;
    int preset = kUnset;
    int cruise = kUnset;
};

int RunPtz(const PtzOptions& options) {
    Json::Value body(Json::objectValue);
    body["device"] = options.device;
    body["channel"] = options.channel;
    body["action"] = options.action;
    const std::pair<const char*, int> numbers[] = {{"speed", options.speed},
                                                   {"duration", options.duration},
                                                   {"preset", options.preset},
                                                   {"cruise", options.cruise}};
    for (const auto& [name, number] : numbers) {
        if (number != kUnset)
            body[name] = number;
    }
    HostClient(options.host).Post("/api/ptz", body);
    return 0;
}

}  // namespace

void AddPtz(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<PtzOptions>();
    const CommandInfo info{.name = "ptz",
                           .description = "Turn a running host's camera, or send it to a preset",
                           .example = "vmshost ptz left --device hall --duration 500"};
    Options command =
        AddCommand(app, invocation, info, [options](Host&) { return RunPtz(*options); });
    constexpr int kHighest = 65535;
    command.RequiredText("action", options->action,
                         "left, right, up, down, zoom-in, zoom-out, stop, go-to-preset, "
                         "start-cruise, stop-cruise and what else the API has");
    command.RequiredText("--device", options->device, "Identifier of the device");
    command.Integer("--channel", options->channel, "Channel, counted from 0 (default: 0)", 0,
                    kHighest);
    command.Integer("--speed", options->speed, "1 to 100", 0, 100);
    command.Integer("--duration", options->duration,
                    "ms after which the movement ends by itself (default: 5000)", 50, 60'000);
    command.Integer("--preset", options->preset, "Number of the preset", 0, kHighest);
    command.Integer("--cruise", options->cruise, "Number of the cruise", 0, kHighest);
    AddHostOptions(command, options->host);
}

}  // namespace vms::host
