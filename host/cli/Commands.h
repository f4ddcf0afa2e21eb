#pragma once

#include <functional>
#include <string>

#include "host/cli/Options.h"
#include "host/modules/Host.h"

namespace vms::host {

/// The command that a command line chose, filled while it is parsed.
struct Invocation {
    HostOptions host;
    bool verbose = false;           ///< print all log lines
    std::string name;               ///< of the command, for error messages
    std::string library;            ///< module library where none is configured
    std::function<int(Host&)> run;  ///< @return exit status; may throw HostError
};

/// Each adds one command to the command line.
void AddDiscover(CLI::App& app, Invocation& invocation);
void AddOnvifUrl(CLI::App& app, Invocation& invocation);
void AddOnvifTest(CLI::App& app, Invocation& invocation);
void AddWatch(CLI::App& app, Invocation& invocation);
void AddCall(CLI::App& app, Invocation& invocation);
void AddServe(CLI::App& app, Invocation& invocation);
void AddPlay(CLI::App& app, Invocation& invocation);
void AddUser(CLI::App& app, Invocation& invocation);
void AddToken(CLI::App& app, Invocation& invocation);
void AddView(CLI::App& app, Invocation& invocation);
void AddRecord(CLI::App& app, Invocation& invocation);
void AddSnapshot(CLI::App& app, Invocation& invocation);
void AddSearch(CLI::App& app, Invocation& invocation);
void AddPtz(CLI::App& app, Invocation& invocation);
void AddTalk(CLI::App& app, Invocation& invocation);

/// What --help tells about a command, and what the host must know before it runs.
struct CommandInfo {
    std::string name;
    std::string description;
    std::string example;
    WatchedSignals signals = WatchedSignals::kNone;  ///< see HostOptions
    LogPrinting printing = LogPrinting::kNothing;    ///< unless --verbose is given
};

/// A new command, with the options that all share (--library, --verbose).
/// @param run called when the command line names this command
Options AddCommand(CLI::App& app, Invocation& invocation, const CommandInfo& info,
                   std::function<int(Host&)> run);

/// A command that only leads to others, which are then added to what it gives.
CLI::App& AddGroup(CLI::App& app, const std::string& name, const std::string& description);

/// Seconds of an option as a wait.
BusClient::Duration SecondsToWait(double seconds);

/// The name under which commands without a configuration file run the module of --library.
inline constexpr char kOnvifModule[] = "onvif";
ModuleConfig OnvifModuleConfig(const Invocation& invocation);

}  // namespace vms::host
