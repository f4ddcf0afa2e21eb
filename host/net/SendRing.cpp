#include "host/net/SendRing.h"

#include <liburing.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace vms::host {
namespace {

constexpr int kFlags = MSG_DONTWAIT | MSG_NOSIGNAL;

/// @param result of a send: bytes or -errno
ssize_t Taken(ssize_t result) {
    if (result == -EAGAIN || result == -EWOULDBLOCK || result == -ENOBUFS || result == -EINTR)
        return 0;
    return result < 0 ? -1 : result;
}

void SendOneByOne(const std::vector<int>& sockets, std::string_view bytes,
                  std::vector<ssize_t>& taken) {
    for (size_t i = 0; i < sockets.size(); ++i) {
        const ssize_t result = send(sockets[i], bytes.data(), bytes.size(), kFlags);
        taken[i] = Taken(result < 0 ? -errno : result);
    }
}

}  // namespace

/// The kernel's queue of submissions and that of completions.
class SendRing::Ring {
public:
    /// @return null where there is none to be had
    static std::unique_ptr<Ring> Make() {
        std::unique_ptr<Ring> made(new Ring);
        made->open_ = io_uring_queue_init(kBatch, &made->ring_, 0) == 0;
        return made->open_ ? std::move(made) : nullptr;
    }

    ~Ring() {
        if (open_)
            io_uring_queue_exit(&ring_);
    }
    Ring(const Ring&) = delete;
    Ring& operator=(const Ring&) = delete;

    /// @return false when the ring must not be used again
    [[nodiscard]] bool Send(const std::vector<int>& sockets, std::string_view bytes,
                            std::vector<ssize_t>& taken) {
        const size_t submitted = Submit(Prepare(sockets, bytes));
        // What becomes of those that get no completion is not known: their stream may have a hole.
        std::fill_n(taken.begin(), submitted, -1);
        std::fill(taken.begin() + static_cast<ssize_t>(submitted), taken.end(), 0);
        return Collect(submitted, taken) && submitted == sockets.size();
    }

private:
    Ring() = default;

    /// @return how many there was room for: all, unless the ring is out of order
    size_t Prepare(const std::vector<int>& sockets, std::string_view bytes) {
        size_t prepared = 0;
        for (; prepared < sockets.size(); ++prepared) {
            io_uring_sqe* const entry = io_uring_get_sqe(&ring_);
            if (entry == nullptr)
                break;
            io_uring_prep_send(entry, sockets[prepared], bytes.data(), bytes.size(), kFlags);
            io_uring_sqe_set_data64(entry, prepared);
        }
        return prepared;
    }

    /// @return how many the kernel has taken
    size_t Submit(size_t count) {
        size_t submitted = 0;
        while (submitted < count) {
            const int result = io_uring_submit(&ring_);
            if (result > 0)
                submitted += static_cast<size_t>(result);
            else if (result != -EINTR)
                break;
        }
        return submitted;
    }

    /// Sends that may not wait have ended when they have been submitted; so this waits as little.
    bool Collect(size_t count, std::vector<ssize_t>& taken) {
        for (size_t collected = 0; collected < count;) {
            io_uring_cqe* completion = nullptr;
            const int result = io_uring_wait_cqe(&ring_, &completion);
            if (result == -EINTR)
                continue;
            if (result < 0)
                return false;
            taken[io_uring_cqe_get_data64(completion)] = Taken(completion->res);
            io_uring_cqe_seen(&ring_, completion);
            ++collected;
        }
        return true;
    }

    io_uring ring_{};
    bool open_ = false;
};

SendRing::SendRing(bool batched) : ring_(batched ? Ring::Make() : nullptr) {}

SendRing::~SendRing() = default;

void SendRing::Send(const std::vector<int>& sockets, std::string_view bytes,
                    std::vector<ssize_t>& taken) {
    taken.resize(sockets.size());
    if (ring_ == nullptr)
        SendOneByOne(sockets, bytes, taken);
    else if (!ring_->Send(sockets, bytes, taken))
        ring_.reset();
}

}  // namespace vms::host
