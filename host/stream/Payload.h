#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace vms {

/// Bytes of a media unit or text that the queues of several players share; never changed.
using Payload = std::shared_ptr<const std::string>;

/// A payload with a copy of these bytes. A unit is handed over once per player, by one thread, so
/// the thread's previous payload is shared again when it holds the same bytes. Thread-safe.
Payload SharedPayload(const char* data, size_t length);

}  // namespace vms
