#pragma once

#include <functional>
#include <string>

#include "host/Host.h"

namespace CLI {
class App;
}

namespace vms {

/// The command that a command line chose, filled while it is parsed.
struct Invocation {
    HostOptions host;
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

/// A new command with the options that all share (--library, --verbose).
/// @param run called when the command line names this command
CLI::App& AddCommand(CLI::App& app, Invocation& invocation, const std::string& name,
                     const std::string& description, const std::string& example,
                     std::function<int(Host&)> run);

/// --timeout: seconds, up to what the bus keeps an unanswered request.
void AddAnswerTimeout(CLI::App& command, double& seconds);

/// Seconds of an option as a wait.
BusClient::Duration SecondsToWait(double seconds);

/// One line on standard error per member of the file that nobody reads.
void PrintWarnings(const HostConfig& config);

/// The name under which commands without a configuration file run the module of --library.
inline constexpr char kOnvifModule[] = "onvif";
ModuleConfig OnvifModuleConfig(const Invocation& invocation);

}  // namespace vms
