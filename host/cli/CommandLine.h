#pragma once

namespace vms::host {

/// Carries out one command line and ends the process, without waiting for threads of modules: exit
/// status 0 = done, 1 = failed, 2 = wrong usage. Failures are told on standard error.
[[noreturn]] void RunCommandLine(int argc, char** argv);

}  // namespace vms::host
