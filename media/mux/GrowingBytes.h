#pragma once

#include <cstdint>
#include <string>

#include "media/mux/ByteSink.h"

namespace vms {

/// Collects the bytes of a container that is read while it grows: what has been taken never changes
/// any more, whatever is written over it. Thread-bound.
class GrowingBytes final : public ByteSink {
public:
    void Write(std::string_view bytes) override;
    bool CanSeek() const override { return true; }
    void Seek(uint64_t offset) override { position_ = offset; }

    /// What has been written and not taken.
    std::string& Pending() { return pending_; }
    std::string Take();

private:
    uint64_t taken_ = 0;
    uint64_t position_ = 0;
    std::string pending_;
};

}  // namespace vms
