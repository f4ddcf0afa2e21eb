#pragma once

namespace vms::sim {

/// Keeps SIGINT and SIGTERM away from every thread. Call first thing in main, before any thread.
void BlockStopSignals();

/// Blocks until SIGINT or SIGTERM arrives.
void WaitForStopSignal();

}  // namespace vms::sim
