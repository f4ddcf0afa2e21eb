#pragma once

#include <CLI/App.hpp>

namespace vms::sim {

/// Adds the subcommand that simulates ONVIF cameras. When it was chosen, it runs until a stop
/// signal and leaves the process's exit code in `exitCode`, which must outlive `app`.
void AddOnvifCommand(CLI::App& app, int& exitCode);

}  // namespace vms::sim
