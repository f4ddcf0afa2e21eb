#pragma once

#include <cstddef>

namespace vms::host {

/// Makes sure that the system lets this process have so many more threads, by having them for a
/// moment: what is missing is said at once, instead of by a host that waits for a thread for ever.
/// @throws HostError
void RequireThreads(size_t count);

}  // namespace vms::host
