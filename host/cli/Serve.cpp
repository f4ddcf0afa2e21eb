#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "host/api/HostApi.h"
#include "host/cli/Commands.h"
#include "host/modules/DeviceLists.h"
#include "host/modules/ModuleTimer.h"
#include "host/process/ShutdownLimit.h"
#include "host/process/StartWatch.h"
#include "host/process/ThreadCheck.h"
#include "host/server/HostServer.h"
#include "host/sources/DeviceModules.h"
#include "host/status/StatusBoard.h"
#include "host/text/Output.h"

namespace vms::host {
namespace {

/// From the signal to the end, whatever modules and devices do.
constexpr std::chrono::seconds kShutdown(7);

/// Of bus, server and modules before the first device and player, and some for those.
constexpr size_t kThreads = 48;

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

/// All that serves besides the modules; destroyed in reverse order while the modules still live,
/// and once the server has let go of it.
struct Service {
    Service(const ServeOptions& options, const Invocation& invocation, const HostConfig& config,
            Host& host, HostServer& streams)
        : server(streams),
          board(host.Bus().Bus()),
          devices(options.config, invocation.library, config, host.Bus(), host.ModuleLog()),
          modules(host.Bus(), [this](const std::string& id) { return devices.ModuleOf(id); }),
          api(host.Bus(), devices, board,
              {[&streams] { return streams.Players(); }, [&streams] { return streams.Summary(); }}),
          timer(host.Modules()) {
        server.Attach(host.Modules().StreamModules(), modules,
                      [this](const std::string& key) { api.StreamWatched(key); });
        if (config.rtsp)
            server.ServeRtsp(*config.rtsp);
        HttpRouter router;
        api.SetExpect([&streams](const std::string& key) { streams.Expect(key); });
        api.SetFacts({.version = VMSHOST_VERSION, .rtspPort = server.RtspPort()});
        api.AddTo(router);
        server.Start(std::move(router));
    }

    ~Service() { server.Stop(); }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    HostServer& server;
    StatusBoard board;
    DeviceLists devices;
    DeviceModules modules;
    HostApi api;
    ModuleTimer timer;
};

std::string Address(const char* scheme, const std::string& host, int port) {
    const bool isName = host.find(':') == std::string::npos;
    return scheme + (isName ? host : "[" + host + "]") + ":" + std::to_string(port);
}

void AnnounceReady(const HostServer& server, const HostConfig& config) {
    const std::string& host = config.http.host;
    if (config.rtsp)
        PrintLine("serving " + Address("rtsp://",
                                       config.rtsp->host.empty() ? host : config.rtsp->host,
                                       server.RtspPort()));
    PrintLine("ready " + Address("http://", host, server.Port()));
}

void ServeUntilStopped(Host& host, DeviceLists& devices) {
    while (host.Signals().Wait() == SIGHUP)
        devices.Reload();
}

/// Ends the process while modules may still use whatever there is: nothing is destroyed.
[[noreturn]] void EndWith(const std::string& message, int status) {
    PrintError("serve: " + message);
    std::fflush(stdout);
    std::quick_exit(status);
}

[[noreturn]] void EndUnfinished() {
    EndWith("a module or device had not ended after 7 s, left behind", 0);
}

/// @return whether a reload has been asked for meanwhile
bool StartModules(const HostConfig& config, Host& host) {
    const StartWatch watch(host.Signals(), [] { EndWith("stopped while modules started", 0); });
    for (const ModuleConfig& module : config.modules)
        host.Modules().Start(module);
    return watch.ReloadWanted();
}

void Serve(const ServeOptions& options, const Invocation& invocation, const HostConfig& config,
           Host& host, HostServer& server) {
    const bool reload = StartModules(config, host);
    auto service = std::make_unique<Service>(options, invocation, config, host, server);
    AnnounceReady(server, config);
    if (reload)
        service->devices.Reload();
    ServeUntilStopped(host, service->devices);

    const ShutdownLimit limit(kShutdown, EndUnfinished);
    host.Bus().Interrupt();
    service.reset();
    // Beyond the limit, which says so and ends the process first.
    if (!host.Modules().StopWithin(2 * kShutdown))
        EndUnfinished();
}

int RunServe(const ServeOptions& options, const Invocation& invocation, Host& host) {
    const HostConfig config = ReadHostConfig(options.config, invocation.library);
    RaiseDescriptorLimit();
    RequireThreads(kThreads);
    HostServer server(config.http, host.ModuleLog());
    host.Modules().SetStreams(server.Streams());
    try {
        Serve(options, invocation, config, host, server);
    } catch (const std::exception& error) {
        EndWith(error.what(), 1);
    }
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
        .signals = WatchedSignals::kStopAndReload,
        .printing = LogPrinting::kWarnings};
    Options command = AddCommand(app, invocation, info, [options, &invocation](Host& host) {
        return RunServe(*options, invocation, host);
    });
    command.RequiredText("--config", options->config, "Configuration file");
}

}  // namespace vms::host
