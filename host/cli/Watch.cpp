#include <poll.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>

#include "host/cli/Commands.h"
#include "host/cli/Progress.h"
#include "host/cli/StatusTable.h"
#include "host/modules/ModuleTimer.h"
#include "host/status/StatusFeed.h"
#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "host/text/Output.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

/// Modules may log out of their devices, but whoever presses Ctrl-C wants the prompt back.
constexpr std::chrono::milliseconds kGrace(500);

struct WatchOptions {
    std::string config;
    bool json = false;
    int count = 0;  ///< reports, 0 = no bound
};

std::string LocalTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return text.data();
}

/// Prints reports in the chosen form.
class ReportPrinter {
public:
    ReportPrinter(const HostConfig& config, bool json) : json_(json), table_(config) {}

    /// @return whether it was a report
    bool Print(const StatusReport& report) { return json_ ? PrintJson(report) : PrintRows(report); }

private:
    static bool PrintJson(const StatusReport& report) {
        Json::Value content;
        if (!ParseJson(report.body.c_str(), content))
            return false;
        PrintLine(CompactJson(content));
        return true;
    }

    bool PrintRows(const StatusReport& report) {
        const std::vector<std::string> rows = table_.Rows(report, LocalTime());
        for (const std::string& row : rows)
            PrintLine(row);
        return !rows.empty();
    }

    const bool json_;
    StatusTable table_;
};

/// @return false when a stop signal came first
bool WaitForReport(const StatusFeed& feed, int stopDescriptor) {
    std::array<pollfd, 2> events{{{stopDescriptor, POLLIN, 0}, {feed.Descriptor(), POLLIN, 0}}};
    while (poll(events.data(), events.size(), -1) < 0) {
        if (errno != EINTR)
            throw HostError(std::string("cannot wait for reports: ") + std::strerror(errno));
    }
    return events[0].revents == 0;
}

void PrintReports(const WatchOptions& options, const HostConfig& config, StatusFeed& feed,
                  int stopDescriptor, bool quiet) {
    ReportPrinter printer(config, options.json);
    std::optional<Progress> progress;
    progress.emplace("waiting for the first report", quiet);
    int printed = 0;
    while ((options.count == 0 || printed < options.count) && WaitForReport(feed, stopDescriptor)) {
        const auto report = feed.Take();
        if (!report)
            continue;
        progress.reset();
        if (printer.Print(*report))
            ++printed;
        else
            PrintError("watch: module " + report->module + " sent a report that is not one");
    }
}

int RunWatch(const WatchOptions& options, const Invocation& invocation, Host& host) {
    const HostConfig config = ReadHostConfig(options.config, invocation.library);
    for (const ModuleConfig& module : config.modules)
        host.Modules().Start(module);
    // From here on: what the modules report before they have their devices is no news.
    StatusFeed feed(host.Bus().Bus());
    {
        const ModuleTimer timer(host.Modules());
        PrintReports(options, config, feed, host.Signals().Descriptor(), !invocation.verbose);
    }
    if (!host.Modules().StopWithin(kGrace))
        host.ModuleLog().Log(0, "watch", "a module had not ended, left behind");
    return 0;
}

}  // namespace

void AddWatch(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<WatchOptions>();
    const CommandInfo info{
        .name = "watch",
        .description = "Print the status reports of configured devices until stopped",
        .example = "vmshost watch --config vmshost.json",
        .signals = WatchedSignals::kStop};
    Options command = AddCommand(app, invocation, info, [options, &invocation](Host& host) {
        return RunWatch(*options, invocation, host);
    });
    command.RequiredText("--config", options->config, "Configuration file");
    command.Flag("--json", options->json, "Print each report as one line of JSON");
    command.Integer("--count", options->count, "End after so many reports (default: never)", 1,
                    std::numeric_limits<int>::max());
}

}  // namespace vms::host
