#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace vms::host {

/// How much room spools may take in all. Thread-safe.
class SpoolRoom {
public:
    /// @param evict makes room where there is too little; false = it cannot. Any thread
    SpoolRoom(uint64_t most, std::function<bool()> evict) : most_(most), evict_(std::move(evict)) {}

    /// @return false when there is not enough left
    [[nodiscard]] bool Take(uint64_t bytes);
    void GiveBack(uint64_t bytes) { used_ -= bytes; }
    uint64_t Used() const { return used_; }

private:
    bool TryToTake(uint64_t bytes);

    const uint64_t most_;
    const std::function<bool()> evict_;
    std::atomic<uint64_t> used_{0};
};

/// A file that grows while it is read. It has no name: it is gone with this object, or with the
/// process. Appending is thread-bound, everything else thread-safe.
class SpoolFile {
public:
    /// @param room must outlive the file
    /// @throws HostError when the folder takes no file
    SpoolFile(const std::filesystem::path& folder, SpoolRoom& room);
    ~SpoolFile();
    SpoolFile(const SpoolFile&) = delete;
    SpoolFile& operator=(const SpoolFile&) = delete;

    /// @throws HostError when there is no room or the disk does not take it
    void Append(std::string_view bytes);

    /// Bytes that can be read.
    uint64_t Size() const { return size_; }

    /// At most so many bytes; fewer only at the end. @throws HostError
    std::string Read(uint64_t offset, size_t most) const;

private:
    SpoolRoom& room_;
    int file_ = -1;
    std::atomic<uint64_t> size_{0};
};

}  // namespace vms::host
