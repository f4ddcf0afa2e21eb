#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>

#include "host/api/HostApi.h"
#include "host/auth/AccessApi.h"
#include "host/auth/Doors.h"
#include "host/cli/Commands.h"
#include "host/modules/AddedDevices.h"
#include "host/modules/DeviceLists.h"
#include "host/modules/ModuleTimer.h"
#include "host/players/http/HttpPlayers.h"
#include "host/players/whep/WhepPlayers.h"
#include "host/players/whep/WhepPlugin.h"
#include "host/process/ExecutablePath.h"
#include "host/process/ShutdownLimit.h"
#include "host/process/StartWatch.h"
#include "host/process/ThreadCheck.h"
#include "host/server/HostServer.h"
#include "host/server/HostTls.h"
#include "host/server/RtspDoor.h"
#include "host/sources/DeviceModules.h"
#include "host/state/State.h"
#include "host/status/EventLog.h"
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

/// The devices that have been added while a host served.
struct KeptDevices {
    /// @param config is given them, too
    KeptDevices(State& state, HostConfig& config, LogSink& log)
        : devices(state.Data()), added(PutIn(devices.All(), config, log)) {}

    AddedDevices devices;
    std::set<std::string> added;
};

/// The library that speaks WebRTC lies beside the device-access library, where it is installed.
WhepSettings WhepSettingsOf(const HostConfig& config) {
    const auto folder = std::filesystem::path(DefaultLibraryPath()).parent_path();
    return {.library = (folder / whep::kPluginFile).string(),
            .players = static_cast<size_t>(config.whep.players),
            .host = config.whep.host.empty() ? config.http.host : config.whep.host,
            .firstPort = config.whep.firstPort,
            .lastPort = config.whep.lastPort,
            .warmUp = config.whep.isNamed};
}

/// All that serves besides the modules; destroyed in reverse order while the modules still live,
/// and once the server has let go of it.
struct Service {
    Service(const ServeOptions& options, const Invocation& invocation, const HostConfig& config,
            Host& host, HostServer& streams, Doors& doors, State& state, KeptDevices& kept)
        : server(streams),
          events(state.Data(), host.ModuleLog()),
          board(host.Bus().Bus(), &events),
          devices(options.config, invocation.library, config, host.Bus(), host.ModuleLog(),
                  &kept.devices, kept.added),
          modules(host.Bus(), [this](const std::string& id) { return devices.ModuleOf(id); }),
          api(host.Bus(), devices, board,
              {[&streams] { return streams.Players(); }, [&streams] { return streams.Summary(); }},
              &events),
          access(doors, host.ModuleLog()),
          rtspAccess(doors),
          timer(host.Modules()) {
        server.Attach(host.Modules().StreamModules(), modules,
                      [this](const std::string& key) { api.StreamWatched(key); });
        HttpRouter router;
        api.SetExpect([&streams](const std::string& key) { streams.Expect(key); });
        api.SetPlayers(server.Context(), server.Budget());
        if (config.rtsp)
            server.ServeRtsp(*config.rtsp, rtspAccess);
        api.SetFacts({.version = VMSHOST_VERSION,
                      .rtspPort = server.RtspPort(),
                      .isSecure = config.http.tls.has_value()});
        api.AddTo(router);
        access.AddTo(router);
        players = std::make_unique<HttpPlayers>(
            server.Context(),
            SpoolSettings{config.http.spoolFolder, static_cast<uint64_t>(config.http.spoolGigabytes)
                                                       << 30});
        players->AddTo(router);
        whep = std::make_unique<WhepPlayers>(server.Context(), WhepSettingsOf(config));
        whep->AddTo(router);
        server.Start(std::move(router));
    }

    ~Service() {
        players->Stop();
        server.Stop();
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    HostServer& server;
    EventLog events;
    StatusBoard board;
    DeviceLists devices;
    DeviceModules modules;
    HostApi api;
    AccessApi access;
    RtspDoor rtspAccess;
    std::unique_ptr<HttpPlayers> players;
    std::unique_ptr<WhepPlayers> whep;
    ModuleTimer timer;
};

std::string Address(const std::string& scheme, const std::string& host, int port) {
    const bool isName = host.find(':') == std::string::npos;
    return scheme + "://" + (isName ? host : "[" + host + "]") + ":" + std::to_string(port);
}

void AnnounceReady(const HostServer& server, const HostConfig& config, const TlsContext* tls) {
    const std::string& host = config.http.host;
    if (config.rtsp)
        PrintLine("serving " + Address("rtsp", config.rtsp->host.empty() ? host : config.rtsp->host,
                                       server.RtspPort()));
    PrintLine("ready " + Address(tls == nullptr ? "http" : "https", host, server.Port()));
    if (tls != nullptr)
        PrintLine("certificate SHA-256 " + tls->Certificate().fingerprint);
}

void Reload(Host& host, DeviceLists& devices, TlsContext* tls) {
    if (tls != nullptr)
        ReloadHostTls(*tls, host.ModuleLog());
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
           Host& host, HostServer& server, State& state, KeptDevices& kept, Doors& doors,
           TlsContext* tls) {
    const bool reload = StartModules(config, host);
    auto service =
        std::make_unique<Service>(options, invocation, config, host, server, doors, state, kept);
    AnnounceReady(server, config, tls);
    if (reload)
        Reload(host, service->devices, tls);
    while (host.Signals().Wait() == SIGHUP)
        Reload(host, service->devices, tls);

    const ShutdownLimit limit(kShutdown, EndUnfinished);
    host.Bus().Interrupt();
    service.reset();
    // Beyond the limit, which says so and ends the process first.
    if (!host.Modules().StopWithin(2 * kShutdown))
        EndUnfinished();
}

int RunServe(const ServeOptions& options, const Invocation& invocation, Host& host) {
    HostConfig config = ReadHostConfig(options.config, invocation.library);
    RaiseDescriptorLimit();
    RequireThreads(kThreads);
    State state(config.state);
    KeptDevices kept(state, config, host.ModuleLog());
    Doors doors(config, state, host.ModuleLog());
    doors.RequireGuarded(config.http.host, "http.host");
    if (config.rtsp && !config.rtsp->host.empty())
        doors.RequireGuarded(config.rtsp->host, "rtsp.host");
    const std::shared_ptr<TlsContext> tls = MakeHostTls(config, host.ModuleLog());
    HostServer server(config.http, host.ModuleLog(), {}, tls);
    server.SetGate(doors.Gate());
    host.Modules().SetStreams(server.Streams());
    try {
        Serve(options, invocation, config, host, server, state, kept, doors, tls.get());
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
            "device lists and the certificate anew",
        .example = "vmshost serve --config vmshost.json",
        .signals = WatchedSignals::kStopAndReload,
        .printing = LogPrinting::kWarnings};
    Options command = AddCommand(app, invocation, info, [options, &invocation](Host& host) {
        return RunServe(*options, invocation, host);
    });
    command.RequiredText("--config", options->config, "Configuration file");
}

}  // namespace vms::host
