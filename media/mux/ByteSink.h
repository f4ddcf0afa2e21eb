#pragma once

#include <cstdint>
#include <string_view>

namespace vms {

/// Where the bytes of a container go. Thread-bound.
class ByteSink {
public:
    virtual ~ByteSink() = default;

    /// @throws MediaError when not all bytes are taken
    virtual void Write(std::string_view bytes) = 0;

    /// Whether Seek works; constant. Containers that keep their index at the front need it.
    virtual bool CanSeek() const { return false; }

    /// Goes on writing at an offset from the beginning. @throws MediaError
    virtual void Seek(uint64_t /*offset*/) {}

    /// After the last byte. @throws MediaError when not all of them are safely kept
    virtual void Finish() {}
};

}  // namespace vms
