#include "platform/ReusableBuffer.h"

#include <algorithm>
#include <cstring>

namespace vms {
namespace {

constexpr size_t kPage = 4096;

size_t RoundUp(size_t size) {
    return (size + kPage - 1) / kPage * kPage;
}

}  // namespace

char* ReusableBuffer::Reserve(size_t size, size_t keep) {
    if (size <= capacity_)
        return memory_.get();
    // A quarter to spare, so that sizes which creep up do not grow the memory every time.
    const size_t capacity = RoundUp(std::max(size, std::max(capacity_, peak_) * 5 / 4));
    auto memory = std::make_unique_for_overwrite<char[]>(capacity);
    if (keep > 0)
        std::memcpy(memory.get(), memory_.get(), keep);
    memory_ = std::move(memory);
    capacity_ = capacity;
    return memory_.get();
}

void ReusableBuffer::EndUse(size_t size) {
    peak_ = std::max(peak_, size);
    if (++uses_ < kWindow)
        return;
    if (capacity_ > kSmall && peak_ < capacity_ / 4) {
        memory_.reset();
        capacity_ = 0;
    } else {
        peak_ = 0;
    }
    uses_ = 0;
}

}  // namespace vms
