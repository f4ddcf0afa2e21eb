#pragma once

namespace CLI {
class App;
}

namespace vms::sim::httpdevice {

/// Adds "httpdevice". @param exitCode set when the command has run; must outlive the parsing
void AddHttpDeviceCommand(CLI::App& app, int& exitCode);

}  // namespace vms::sim::httpdevice
