#include <memory>

#include "host/cli/AnswerCheck.h"
#include "host/cli/CameraOptions.h"
#include "host/cli/Commands.h"
#include "host/cli/Progress.h"
#include "host/text/JsonText.h"
#include "host/text/Output.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

struct OnvifTestOptions {
    CameraOptions camera;
    bool json = false;
    double timeout = 70;
};

Answer AskTest(const OnvifTestOptions& options, const Invocation& invocation, Host& host) {
    const Json::Value device = options.camera.Description();
    const Progress progress("testing camera " + options.camera.Address(), !invocation.verbose);
    host.Modules().Start(OnvifModuleConfig(invocation));
    return host.Bus().Ask({.module = kOnvifModule,
                           .id = TV_CMD_DEVICE_TEST,
                           .deviceId = "test:" + options.camera.Address(),
                           .body = CompactJson(device)},
                          SecondsToWait(options.timeout));
}

/// The answer's own layout, or one line for machines.
std::string Printed(const std::string& body, bool json) {
    Json::Value answer;
    if (json && ParseJson(body.c_str(), answer))
        return CompactJson(answer);
    return body.substr(0, body.find_last_not_of('\n') + 1);
}

int RunOnvifTest(const OnvifTestOptions& options, const Invocation& invocation, Host& host) {
    const Answer answer = AskTest(options, invocation, host);
    RequireSuccess(answer, "test of camera " + options.camera.Address(), host.ModuleLog());
    PrintLine(Printed(answer.body, options.json));
    return 0;
}

}  // namespace

void AddOnvifTest(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<OnvifTestOptions>();
    const CommandInfo info{
        .name = "onvif-test",
        .description = "Test whether a camera answers and accepts a login",
        .example = "vmshost onvif-test --ip 192.168.1.20 --user admin --password-file secret.txt"};
    Options command = AddCommand(app, invocation, info, [options, &invocation](Host& host) {
        return RunOnvifTest(*options, invocation, host);
    });
    options->camera.AddTo(command);
    command.Flag("--json", options->json, "Print the answer on one line");
    command.AnswerTimeout(options->timeout);
}

}  // namespace vms::host
