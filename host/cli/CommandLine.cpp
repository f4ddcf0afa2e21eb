#include "host/cli/CommandLine.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "host/cli/Commands.h"
#include "host/process/ExecutablePath.h"
#include "host/text/HostError.h"
#include "host/text/Output.h"

namespace vms::host {
namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

[[noreturn]] void Finish(int status) {
    if (std::fflush(stdout) != 0 && status == 0)
        status = kFailed;
    std::fflush(stderr);
    std::quick_exit(status);
}

int Complain(const Invocation& invocation, const std::string& problem) {
    PrintError(invocation.name.empty() ? problem : invocation.name + ": " + problem);
    return kFailed;
}

/// A stray argument may be a piece of a password with a blank in it, so it is not repeated.
std::string UsageProblem(const CLI::ParseError& error) {
    if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr)
        return "unknown option or argument";
    return error.what();
}

void BuildCommands(CLI::App& app, Invocation& invocation) {
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("vmshost ") + VMSHOST_VERSION);
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.footer(
        "'vmshost COMMAND --help' describes a command. Exit status: 0 done, 1 failed, 2 usage.");
    AddDiscover(app, invocation);
    AddOnvifUrl(app, invocation);
    AddOnvifTest(app, invocation);
    AddWatch(app, invocation);
    AddCall(app, invocation);
    AddServe(app, invocation);
    AddPlay(app, invocation);
    AddUser(app, invocation);
    AddToken(app, invocation);
    AddView(app, invocation);
    AddRecord(app, invocation);
    AddSnapshot(app, invocation);
    AddSearch(app, invocation);
    AddPtz(app, invocation);
    AddTalk(app, invocation);
}

void Parse(CLI::App& app, int argc, char** argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& helpOrVersion) {
        app.exit(helpOrVersion);
        Finish(0);
    } catch (const CLI::ParseError& error) {
        PrintError(UsageProblem(error) + "\nRun vmshost --help, or a command with --help.");
        Finish(kUsage);
    }
}

int Run(const Invocation& invocation, Host& host) {
    try {
        return invocation.run(host);
    } catch (const std::exception& error) {
        return Complain(invocation, error.what());
    }
}

}  // namespace

ModuleConfig OnvifModuleConfig(const Invocation& invocation) {
    ModuleConfig config;
    config.name = kOnvifModule;
    config.library = invocation.library;
    return config;
}

Options AddCommand(CLI::App& app, Invocation& invocation, const CommandInfo& info,
                   std::function<int(Host&)> run) {
    CLI::App& command = *app.add_subcommand(info.name, info.description);
    command.footer("Example:\n  " + info.example);
    const std::string name =
        app.get_parent() == nullptr ? info.name : app.get_name() + " " + info.name;
    command.callback([&invocation, info, name, run = std::move(run)] {
        invocation.name = name;
        invocation.host.signals = info.signals;
        invocation.host.printing = invocation.verbose ? LogPrinting::kEverything : info.printing;
        invocation.run = run;
    });
    Options options(command);
    options.Text("--library", invocation.library,
                 "Module library (default: ../lib/libdeviceaccess.so beside the executable)");
    options.Flag("--verbose", invocation.verbose,
                 "Print the log lines of modules and bus to standard error");
    return options;
}

CLI::App& AddGroup(CLI::App& app, const std::string& name, const std::string& description) {
    CLI::App& group = *app.add_subcommand(name, description);
    group.require_subcommand(1);
    return group;
}

BusClient::Duration SecondsToWait(double seconds) {
    return std::chrono::duration_cast<BusClient::Duration>(std::chrono::duration<double>(seconds));
}

void RunCommandLine(int argc, char** argv) {
    Invocation invocation;
    try {
        invocation.library = DefaultLibraryPath();
        CLI::App app("Reference host of the device-access modules", "vmshost");
        BuildCommands(app, invocation);
        Parse(app, argc, argv);
        // Never destroyed: that would wait for the modules' threads.
        Host host(invocation.host);
        Finish(Run(invocation, host));
    } catch (const std::exception& error) {
        Finish(Complain(invocation, error.what()));
    }
}

}  // namespace vms::host
