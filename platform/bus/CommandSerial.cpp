#include "platform/bus/CommandSerial.h"

#include <atomic>

namespace vms {
namespace {

std::atomic<uint32_t> nextSequence{1};

}  // namespace

int64_t NextSerial(__enumTvCommand id) {
    uint32_t sequence = 0;
    while (sequence == 0)
        sequence = nextSequence.fetch_add(1, std::memory_order_relaxed) & 0x7fffffffu;
    return static_cast<int64_t>(uint64_t{sequence} << 32 | static_cast<uint32_t>(id));
}

}  // namespace vms
