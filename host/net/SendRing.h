#pragma once

#include <sys/types.h>

#include <memory>
#include <string_view>
#include <vector>

namespace vms::host {

/// Sends the same bytes to many sockets, without waiting. Of one thread at a time.
///
/// With io_uring(7) a system call serves up to kBatch sockets and the caller is not scheduled away
/// between them; where the kernel has or allows none, each socket takes a call of its own.
class SendRing {
public:
    static constexpr size_t kBatch = 256;

    /// @param batched false: do without io_uring
    explicit SendRing(bool batched);
    ~SendRing();
    SendRing(const SendRing&) = delete;
    SendRing& operator=(const SendRing&) = delete;

    /// @param sockets connected TCP sockets, at most kBatch, each once
    /// @param taken   set to what each has taken: bytes, 0 = none now, -1 = the connection is
    /// broken
    void Send(const std::vector<int>& sockets, std::string_view bytes, std::vector<ssize_t>& taken);

    bool Batched() const { return ring_ != nullptr; }

private:
    class Ring;

    std::unique_ptr<Ring> ring_;
};

}  // namespace vms::host
