#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "media/recording/ContentRoots.h"
#include "media/recording/DurationIndex.h"
#include "media/recording/FolderListing.h"
#include "media/recording/Recording.h"

namespace vms {

/// The recordings of one device, listed from its folder at every question, so that files may come
/// and go. Channels are the sub-folders in natural order ("ch2" before "ch10"), numbered from 0; a
/// folder without any is its own channel 0. Thread-safe; times are ms since the Unix epoch, UTC.
///
/// Names tell start and type at once; how long a recording is, only the file tells. Where that has
/// not been found out yet a recording is taken to last until the next one of its channel starts, an
/// hour at most.
class RecordingIndex {
public:
    /// @param root      the device's folder; empty for none
    /// @param durations shared by all devices of a family
    /// @param roots     nothing outside of them is seen, whatever `root` and links say
    RecordingIndex(std::filesystem::path root, std::shared_ptr<DurationIndex> durations,
                   std::shared_ptr<const ContentRoots> roots);

    const std::filesystem::path& Root() const { return root_; }
    const ContentRoots& Roots() const { return *roots_; }

    /// Folders of the channels by number; empty when the device's folder cannot be read.
    std::vector<std::filesystem::path> Channels() const;
    bool HasChannel(int channel) const;
    /// @throws std::runtime_error, which names channel and folder, unless there is such a channel
    void RequireChannel(int channel) const;

    /// Folder of a channel; empty for an unknown one.
    std::filesystem::path ChannelFolder(int channel) const;

    /// Recordings that have a part in [beginMs, endMs), by start. Waits for what is not known: of
    /// recordings that may reach into the range for the latest 32, of those that start in it for
    /// all, three seconds at most, unless they are more than 32; then for none, and 50 ms in all.
    /// Files without readable video are left out once that is known.
    /// @param endMs     0 = no end
    /// @param fileTypes mask; 0 = all
    RecordingList Find(int channel, int64_t beginMs, int64_t endMs, int fileTypes) const;

    /// The same for somebody who opens the files one after the other: waits only for the latest 32
    /// recordings that may reach into the range, one second at most.
    RecordingList FindToPlay(int channel, int64_t beginMs, int64_t endMs, int fileTypes) const;

    /// Days (yyyymmdd, UTC) with a part of such a recording in the range, by names and what is
    /// known already.
    std::set<int> Days(int channel, int64_t beginMs, int64_t endMs, int fileTypes) const;

private:
    void Await(const std::filesystem::path& folder, RecordingListing& listing,
               const std::vector<size_t>& which, std::chrono::milliseconds time) const;

    const std::filesystem::path root_;
    const std::shared_ptr<DurationIndex> durations_;
    const std::shared_ptr<const ContentRoots> roots_;
};

}  // namespace vms
