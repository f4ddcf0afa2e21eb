#pragma once

namespace vms::test {

/// Moves the process into a network namespace of its own with nothing but loopback, so that probes
/// of tests running side by side do not reach each other. Call it before any thread is started.
/// @return false where namespaces are not allowed; the process then stays in the shared network
bool EnterPrivateNetwork();

}  // namespace vms::test
