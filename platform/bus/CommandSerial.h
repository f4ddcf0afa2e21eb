#pragma once

#include <cstdint>

#include "module/CommandRecord.h"

namespace vms {

/// A serial that no other live record of the process carries: (sequence << 32) | identifier, with
/// the sequence running through 1..0x7fffffff and around. The bus and the record helpers draw from
/// the same sequence, so an answer can never be taken for another request's. Thread-safe.
int64_t NextSerial(__enumTvCommand id);

/// The identifier in the low half of a serial.
constexpr __enumTvCommand IdOfSerial(int64_t serial) {
    return static_cast<__enumTvCommand>(static_cast<uint32_t>(serial));
}

}  // namespace vms
