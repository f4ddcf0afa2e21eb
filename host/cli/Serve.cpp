#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "host/DeviceLists.h"
#include "host/ModuleTimer.h"
#include "host/ShutdownLimit.h"
#include "host/StatusBoard.h"
#include "host/api/HostApi.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/stream/StreamServer.h"

namespace vms {
namespace {

/// From the signal to the end, whatever modules and devices do.
constexpr std::chrono::seconds kShutdown(7);

struct ServeOptions {
    std::string config;
};

/// Each player takes a descriptor, and the usual soft limit is low.
void RaiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

/// All that serves besides the modules; destroyed in reverse order while the modules still live.
struct Service {
    Service(const ServeOptions& options, const Invocation& invocation, const HostConfig& config,
            Host& host, StreamServer& server)
        : board(host.Bus().Bus()),
          devices(options.config, invocation.library, config, host.Bus(), host.ModuleLog()),
          api(host.Bus(), devices, board, server),
          timer(host.Modules()) {
        server.Start(
            host.Modules().StreamModules(),
            [this](const HttpRequest& request, HttpReply& reply) { api.Serve(request, reply); });
    }

    StatusBoard board;
    DeviceLists devices;
    HostApi api;
    ModuleTimer timer;
};

void AnnounceReady(const StreamServer& server, const HostConfig& config) {
    const std::string host = config.http.host.find(':') == std::string::npos
                                 ? config.http.host
                                 : "[" + config.http.host + "]";
    PrintLine("ready http://" + host + ":" + std::to_string(server.Port()));
}

void ServeUntilStopped(Host& host, DeviceLists& devices) {
    while (host.Signals().Wait() == SIGHUP)
        devices.Reload();
}

[[noreturn]] void EndUnfinished() {
    PrintError("serve: a module or device had not ended after 7 s, left behind");
    std::fflush(stdout);
    std::quick_exit(0);
}

int RunServe(const ServeOptions& options, const Invocation& invocation, Host& host) {
    const HostConfig config = ReadHostConfig(options.config, invocation.library);
    PrintWarnings(config);
    RaiseDescriptorLimit();
    StreamServer server(config.http, host.ModuleLog());
    host.Modules().SetStreams(server);
    for (const ModuleConfig& module : config.modules)
        host.Modules().Start(module);
    auto service = std::make_unique<Service>(options, invocation, config, host, server);
    AnnounceReady(server, config);
    ServeUntilStopped(host, service->devices);

    const ShutdownLimit limit(kShutdown, EndUnfinished);
    server.Stop();
    service.reset();
    // Beyond the limit, which says so and ends the process first.
    if (!host.Modules().StopWithin(2 * kShutdown))
        EndUnfinished();
    return 0;
}

}  // namespace

void AddServe(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<ServeOptions>();
    const CommandInfo info{
        .name = "serve",
        .description =
            "Run modules, stream server and HTTP API until stopped; SIGHUP reads the "
            "device lists anew",
        .example = "vmshost serve --config vmshost.json",
        .signals = WatchedSignals::stopAndReload,
        .printing = LogPrinting::warnings};
    Options command = AddCommand(app, invocation, info, [options, &invocation](Host& host) {
        return RunServe(*options, invocation, host);
    });
    command.RequiredText("--config", options->config, "Configuration file");
}

}  // namespace vms
