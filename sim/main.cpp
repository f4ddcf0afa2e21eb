#include <CLI/CLI.hpp>

#include "sim/httpdevice/HttpDeviceCommand.h"
#include "sim/onvif/OnvifCommand.h"
#include "sim/process/StopSignals.h"

namespace {

constexpr int kUsage = 2;

}  // namespace

int main(int argc, char** argv) {
    vms::sim::BlockStopSignals();
    int exitCode = 0;
    CLI::App app("Simulated devices on real sockets");
    app.require_subcommand(1);
    vms::sim::AddOnvifCommand(app, exitCode);
    vms::sim::httpdevice::AddHttpDeviceCommand(app, exitCode);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kUsage;
    }
    return exitCode;
}
