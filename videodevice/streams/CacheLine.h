#pragma once

#include <cstddef>
#include <new>

namespace vms {

/// Bytes that two processors cannot write to at once without slowing each other down: two cache
/// lines of 64, since processors fetch them in pairs.
inline constexpr size_t kCacheLine = 128;

/// Gives memory whose cache lines hold nothing else.
template <class T>
struct CacheLineAllocator {
    using value_type = T;

    CacheLineAllocator() = default;
    template <class U>
    CacheLineAllocator(const CacheLineAllocator<U>&) {}

    T* allocate(size_t count) {
        const size_t lines = (count * sizeof(T) + kCacheLine - 1) / kCacheLine;
        return static_cast<T*>(::operator new(lines* kCacheLine, std::align_val_t(kCacheLine)));
    }
    void deallocate(T* memory, size_t) { ::operator delete(memory, std::align_val_t(kCacheLine)); }

    friend bool operator==(const CacheLineAllocator&, const CacheLineAllocator&) { return true; }
};

}  // namespace vms
