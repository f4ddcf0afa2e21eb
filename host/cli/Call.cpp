#include <memory>
#include <optional>

#include "host/cli/AnswerCheck.h"
#include "host/cli/Commands.h"
#include "host/cli/Progress.h"
#include "host/config/HostConfig.h"
#include "host/modules/CommandId.h"
#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "host/text/Output.h"

namespace vms::host {
namespace {

struct CallOptions {
    std::string config;
    std::string module;
    std::string id;
    std::string device;
    std::optional<std::string> body;
    std::optional<std::string> bodyFile;
    double timeout = 70;
};

std::string CheckCommandId(const std::string& text) {
    return ParseCommandId(text) ? "" : "a command identifier such as 0x10010a or 1048842 is needed";
}

/// Starts the one module that is asked; the others stay unloaded.
void StartModule(const CallOptions& options, const Invocation& invocation, Host& host) {
    const HostConfig config = ReadHostConfig(options.config, invocation.library);
    const ModuleConfig* module = config.FindModule(options.module);
    if (module == nullptr)
        throw HostError(options.config + " has no module named \"" + options.module + "\"");
    host.Modules().Start(*module);
}

void PrintAnswer(const Answer& answer) {
    Json::Value line(Json::objectValue);
    line["result"] = answer.result;
    line["body"] = answer.body;
    PrintLine(CompactJson(line));
}

int RunCall(const CallOptions& options, const Invocation& invocation, Host& host) {
    const BusRequest request{
        options.module, static_cast<__enumTvCommand>(*ParseCommandId(options.id)), options.device,
        options.bodyFile ? ReadTextFile(*options.bodyFile) : options.body.value_or("")};
    const std::string asked = "command " + options.id + " of module \"" + options.module +
                              "\" for device \"" + options.device + "\"";
    Progress progress("waiting for " + options.module, !invocation.verbose);
    StartModule(options, invocation, host);
    const Answer last = host.Bus().AskPages(
        request, [&](const Answer& answer) { progress.Print([&] { PrintAnswer(answer); }); },
        SecondsToWait(options.timeout));
    if (last.kind != Answer::Kind::kAnswered)
        throw HostError(FailureText(last, asked, host.ModuleLog()));
    return last.Succeeded() ? 0 : 1;
}

}  // namespace

void AddCall(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<CallOptions>();
    const CommandInfo info{
        .name = "call",
        .description =
            "Send one command to a configured module and print each answer as "
            "{\"result\", \"body\"}",
        .example = "vmshost call --config vmshost.json --module nvr --id 0x10010a --device cam-1"};
    Options command = AddCommand(app, invocation, info, [options, &invocation](Host& host) {
        return RunCall(*options, invocation, host);
    });
    command.RequiredText("--config", options->config, "Configuration file");
    command.RequiredText("--module", options->module, "Name of the module in it");
    command.RequiredText("--id", options->id, "Command identifier, decimal or 0x...",
                         CheckCommandId);
    command.Text("--device", options->device, "Device identifier (default: none)");
    command.Either("--body", options->body, "JSON for the command (default: none)", "--body-file",
                   options->bodyFile, "File with the JSON for the command");
    command.AnswerTimeout(options->timeout);
}

}  // namespace vms::host
