#include <memory>

#include "host/cli/AnswerCheck.h"
#include "host/cli/CameraTable.h"
#include "host/cli/Commands.h"
#include "host/cli/Progress.h"
#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "host/text/Output.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

struct DiscoverOptions {
    bool json = false;
    double timeout = 0;  ///< s for the whole search, 0 = no bound
};

/// Prints cameras as their pages arrive.
class FoundCameras {
public:
    explicit FoundCameras(bool json) : json_(json) {}

    void Print(const Answer& page) {
        Json::Value content;
        ParseJson(page.body.c_str(), content);
        const Json::Value& cameras = Member(content, "devs");
        if (!cameras.isArray())
            return;
        for (const Json::Value& camera : cameras)
            PrintCamera(camera);
    }

    const CameraTable& Table() const { return table_; }
    bool Any() const { return any_; }

private:
    void PrintCamera(const Json::Value& camera) {
        if (!json_ && !any_)
            PrintLine(CameraTable::Header());
        any_ = true;
        const std::string row = table_.Row(camera);
        PrintLine(json_ ? CompactJson(camera) : row);
    }

    const bool json_;
    bool any_ = false;
    CameraTable table_;
};

Answer Search(const DiscoverOptions& options, const Invocation& invocation, Host& host,
              FoundCameras& found) {
    Progress progress("searching for cameras", !invocation.verbose);
    host.Modules().Start(OnvifModuleConfig(invocation));
    const auto end = options.timeout > 0 ? BusClient::Clock::now() + SecondsToWait(options.timeout)
                                         : BusClient::Clock::time_point::max();
    return host.Bus().AskPages(
        {.module = kOnvifModule, .id = TV_CMD_SEARCH_DEVICE, .deviceId = "search", .body = ""},
        [&](const Answer& page) { progress.Print([&] { found.Print(page); }); },
        BusClient::kPatience, end);
}

int RunDiscover(const DiscoverOptions& options, const Invocation& invocation, Host& host) {
    FoundCameras found(options.json);
    const Answer last = Search(options, invocation, host, found);
    if (last.kind == Answer::Kind::kSilent && options.timeout > 0)
        throw HostError("stopped before the search had ended, " + found.Table().Summary());
    RequireSuccess(last, "search, " + found.Table().Summary(), host.ModuleLog());
    if (!options.json)
        PrintLine((found.Any() ? "\n" : "") + found.Table().Summary());
    return 0;
}

}  // namespace

void AddDiscover(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<DiscoverOptions>();
    const CommandInfo info{.name = "discover",
                           .description = "Find ONVIF cameras on the local networks",
                           .example = "vmshost discover --json | jq -r .ip"};
    Options command = AddCommand(app, invocation, info, [options, &invocation](Host& host) {
        return RunDiscover(*options, invocation, host);
    });
    command.Flag("--json", options->json, "One JSON object per camera and line, as it is found");
    command.Seconds("--timeout", options->timeout,
                    "Give up after so many seconds (default: search to the end)", 3600);
}

}  // namespace vms::host
