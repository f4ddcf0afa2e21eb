#pragma once

#include <cstddef>
#include <memory>

#include "platform/Export.h"

namespace vms {

/// Memory that is used for one message after the other: it grows to the largest one, is not
/// cleared, and is given back when a long run of messages needed far less. Thread-bound.
class VMS_PLATFORM_API ReusableBuffer {
public:
    static constexpr size_t kSmall = size_t{64} << 10;  ///< never worth giving back
    static constexpr int kWindow = 256;                 ///< uses after which the size is looked at

    /// Makes room for `size` bytes of which the first `keep` are preserved.
    /// @return the memory; valid until the next call of any member
    /// @throws std::bad_alloc leaving everything as it was
    char* Reserve(size_t size, size_t keep = 0);

    /// Ends one use of `size` bytes.
    void EndUse(size_t size);

    char* Data() { return memory_.get(); }  ///< null before the first Reserve
    size_t Capacity() const { return capacity_; }

private:
    std::unique_ptr<char[]> memory_;
    size_t capacity_ = 0;
    size_t peak_ = 0;  ///< largest use of the window
    int uses_ = 0;     ///< in the window so far
};

}  // namespace vms
