#pragma once

namespace vms {

/// libav says nothing of its own any more: what goes wrong comes as an error, and a stream that is
/// damaged would fill a log with it. Of this process. Thread-safe.
void SilenceLibav();

}  // namespace vms
