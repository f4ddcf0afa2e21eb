#include <unistd.h>

#include <limits>
#include <memory>

#include "host/cli/AnswerCheck.h"
#include "host/cli/CameraOptions.h"
#include "host/cli/Commands.h"
#include "host/cli/Progress.h"
#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "host/text/Output.h"
#include "host/text/TerminalText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

struct OnvifUrlOptions {
    CameraOptions camera;
    int channel = 0;
    int stream = 0;
    bool json = false;
    double timeout = 70;
};

BusRequest UrlRequest(const OnvifUrlOptions& options, const std::string& deviceId) {
    Json::Value body(Json::objectValue);
    body["id"] = deviceId;
    body["channel"] = options.channel;
    body["streamNo"] = options.stream;
    body["face"] = 0;
    return {kOnvifModule, TV_CMD_GET_PREVIEW_URL, deviceId, CompactJson(body)};
}

std::string Asked(const OnvifUrlOptions& options) {
    return "preview URL of camera " + options.camera.Address() + " (channel " +
           std::to_string(options.channel) + ", stream " + std::to_string(options.stream) + ")";
}

Answer AskUrl(const OnvifUrlOptions& options, const Invocation& invocation, Host& host) {
    const std::string deviceId = "url:" + options.camera.Address();
    Json::Value device = options.camera.Description();
    device["id"] = deviceId;
    ModuleConfig module = OnvifModuleConfig(invocation);
    module.devices.append(device);
    const Progress progress("asking camera " + options.camera.Address(), !invocation.verbose);
    host.Modules().Start(module);
    return host.Bus().Ask(UrlRequest(options, deviceId), SecondsToWait(options.timeout));
}

int RunOnvifUrl(const OnvifUrlOptions& options, const Invocation& invocation, Host& host) {
    const Answer answer = AskUrl(options, invocation, host);
    RequireSuccess(answer, Asked(options), host.ModuleLog());
    Json::Value description;
    std::string url;
    if (!ParseJson(answer.body.c_str(), description) || !ReadString(description, "uri", url))
        throw HostError(Asked(options) + ": the module's answer holds no URL");
    if (isatty(STDOUT_FILENO) == 1)
        url = Printable(url);
    PrintLine(options.json ? CompactJson(description) : url);
    return 0;
}

}  // namespace

void AddOnvifUrl(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<OnvifUrlOptions>();
    const CommandInfo info{
        .name = "onvif-url",
        .description = "Ask a camera for its RTSP URL, with the login in it",
        .example =
            "VMS_PASSWORD=secret vmshost onvif-url --ip 192.168.1.20 --port 80 --user admin"};
    Options command = AddCommand(app, invocation, info, [options, &invocation](Host& host) {
        return RunOnvifUrl(*options, invocation, host);
    });
    constexpr int kHighest = std::numeric_limits<int>::max();
    options->camera.AddTo(command);
    command.Integer("--channel", options->channel, "Channel number (default: 0)", 0, kHighest);
    command.Integer("--stream", options->stream,
                    "Stream index (default: 0, the camera's first profile)", 0, kHighest);
    command.Flag("--json", options->json, "Print the whole stream description as JSON");
    command.AnswerTimeout(options->timeout);
}

}  // namespace vms::host
