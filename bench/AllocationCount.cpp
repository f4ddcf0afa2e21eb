#include "bench/AllocationCount.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <new>

namespace {

/// Apart from each other, so that counting does not hold threads up.
struct alignas(128) Count {
    std::atomic<int64_t> value{0};
};

std::array<Count, 64> counts;  // of threads in the order of their first allocation, then again

Count& OfThisThread() {
    static std::atomic<size_t> threads{0};
    static thread_local Count* const mine = &counts[threads++ % counts.size()];
    return *mine;
}

thread_local int64_t ofThread = 0;

}  // namespace

__attribute__((noinline)) void* operator new(size_t size) {
    ++ofThread;
    OfThisThread().value.fetch_add(1, std::memory_order_relaxed);
    if (void* const memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

__attribute__((noinline)) void operator delete(void* memory) noexcept {
    std::free(memory);
}

__attribute__((noinline)) void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

namespace vms::bench {

int64_t AllocationsOfThread() {
    return ofThread;
}

int64_t AllocationsOfProcess() {
    int64_t sum = 0;
    for (const Count& count : counts)
        sum += count.value.load(std::memory_order_relaxed);
    return sum;
}

}  // namespace vms::bench
