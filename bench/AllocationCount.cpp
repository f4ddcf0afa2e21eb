#include "bench/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

thread_local int64_t ofThread = 0;
std::atomic<int64_t> ofProcess{0};

}  // namespace

__attribute__((noinline)) void* operator new(size_t size) {
    ++ofThread;
    ofProcess.fetch_add(1, std::memory_order_relaxed);
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
    return ofProcess.load(std::memory_order_relaxed);
}

}  // namespace vms::bench
