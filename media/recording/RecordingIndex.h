#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "media/recording/ProbeCache.h"
#include "media/recording/Recording.h"

namespace vms {

/// The recordings of one device, read from its folder at every question, so that files may come and
/// go. Channels are the sub-folders in natural order ("ch2" before "ch10"), numbered from 0;
/// a folder without any is its own channel 0. Thread-safe; times are ms since the Unix epoch, UTC.
class RecordingIndex {
public:
    RecordingIndex(std::filesystem::path root, std::shared_ptr<ProbeCache> cache)
        : root_(std::move(root)), cache_(std::move(cache)) {}

    const std::filesystem::path& Root() const { return root_; }

    /// Folders of the channels by number; empty when the device's folder cannot be read.
    std::vector<std::filesystem::path> Channels() const;
    bool HasChannel(int channel) const;
    /// @throws std::runtime_error, which names channel and folder, unless there is such a channel
    void RequireChannel(int channel) const;

    /// Folder of a channel; empty for an unknown one.
    std::filesystem::path ChannelFolder(int channel) const;

    /// Recordings that have a part in [beginMs, endMs), by start.
    /// @param endMs     0 = no end
    /// @param fileTypes mask; 0 = all
    RecordingList Find(int channel, int64_t beginMs, int64_t endMs, int fileTypes) const;

    /// Days (yyyymmdd, UTC) with a part of such a recording in the range.
    std::set<int> Days(int channel, int64_t beginMs, int64_t endMs, int fileTypes) const;

private:
    const std::filesystem::path root_;
    const std::shared_ptr<ProbeCache> cache_;
};

}  // namespace vms
