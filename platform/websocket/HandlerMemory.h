#pragma once

#include <array>
#include <cstddef>
#include <new>

namespace vms {

/// Memory for the one operation of a kind that is under way on a connection, so that receiving does
/// not allocate. Operations follow each other; whoever starts the next one has seen the last one's
/// end, which is what keeps threads apart.
class HandlerMemory {
public:
    HandlerMemory() = default;
    HandlerMemory(const HandlerMemory&) = delete;
    HandlerMemory& operator=(const HandlerMemory&) = delete;

    void* Allocate(size_t size) {
        if (inUse_ || size > storage_.size())
            return ::operator new(size);
        inUse_ = true;
        return storage_.data();
    }

    void Free(void* memory) {
        if (memory == storage_.data())
            inUse_ = false;
        else
            ::operator delete(memory);
    }

private:
    alignas(std::max_align_t) std::array<std::byte, 640> storage_;
    bool inUse_ = false;
};

template <class T>
class HandlerAllocator {
public:
    using value_type = T;

    explicit HandlerAllocator(HandlerMemory& memory) : memory_(&memory) {}
    template <class U>
    HandlerAllocator(const HandlerAllocator<U>& other) : memory_(other.memory_) {}

    T* allocate(size_t count) { return static_cast<T*>(memory_->Allocate(count * sizeof(T))); }
    void deallocate(T* memory, size_t) { memory_->Free(memory); }

    template <class U>
    bool operator==(const HandlerAllocator<U>& other) const {
        return memory_ == other.memory_;
    }

private:
    template <class U>
    friend class HandlerAllocator;
    HandlerMemory* memory_;
};

/// A completion handler whose operation lives in a HandlerMemory; the handler must keep that alive.
template <class Function>
class InMemory {
public:
    using allocator_type = HandlerAllocator<void>;

    InMemory(HandlerMemory& memory, Function function)
        : memory_(&memory), function_(std::move(function)) {}

    allocator_type get_allocator() const { return allocator_type(*memory_); }

    template <class... Arguments>
    void operator()(Arguments&&... arguments) {
        function_(std::forward<Arguments>(arguments)...);
    }

private:
    HandlerMemory* memory_;
    Function function_;
};

}  // namespace vms
