#pragma once

#include <atomic>
#include <cstddef>

namespace vms::host {

/// How much memory the bodies and messages that clients are sending may take in all. Thread-safe.
class BodyBudget {
public:
    static constexpr size_t kMost = size_t{64} << 20;

    /// So much of each body or message need not be booked: whoever uses the budget up keeps nobody
    /// from small requests. The bound of connections bounds their sum.
    static constexpr size_t kUnbooked = size_t{16} << 10;

    explicit BodyBudget(size_t most = kMost) : most_(most) {}
    BodyBudget(const BodyBudget&) = delete;
    BodyBudget& operator=(const BodyBudget&) = delete;

    /// Bytes of the budget that are granted to one body; given back when it is destroyed or moved
    /// from. Not thread-safe by itself; the budget must outlive it.
    class Share {
    public:
        Share() = default;
        ~Share() { Release(); }
        Share(Share&& other) noexcept;
        Share& operator=(Share&& other) noexcept;

        /// Makes the share so many bytes. Shrinking is always granted.
        /// @return false when the budget has not enough left; the share is as before
        [[nodiscard]] bool Resize(BodyBudget& budget, size_t bytes);

        size_t Bytes() const { return bytes_; }

    private:
        void Release();

        BodyBudget* budget_ = nullptr;
        size_t bytes_ = 0;
    };

    /// Bytes granted at the moment.
    size_t Used() const { return used_; }

private:
    bool Take(size_t bytes);
    void GiveBack(size_t bytes) { used_ -= bytes; }

    const size_t most_;
    std::atomic<size_t> used_{0};
};

}  // namespace vms::host
