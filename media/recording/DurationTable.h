#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/recording/FolderListing.h"

namespace vms {

/// What is known of the recordings in folders, and in which order to find out about the others:
/// those asked for last before the rest, newer before older. Bounded: the folders that have not
/// been listed for the longest time go first. Thread-bound.
class DurationTable {
public:
    /// A recording to look into.
    struct Task {
        std::string folder;
        std::string name;
    };

    /// @param maxEntries recordings of all folders together, some 150 bytes each
    explicit DurationTable(size_t maxEntries = kMaxListed) : maxEntries_(maxEntries) {}

    /// Takes over what a folder lists, forgets what it lists no more and fills in what is known. A
    /// recording that is asked for in another version than the known one is unknown again.
    /// @return whether anything of it is unknown
    bool Enter(const std::string& folder, RecordingListing& listing);

    /// Puts recordings of a listing that has been entered before all others.
    /// @param which indices in ascending order
    void Hurry(const std::string& folder, const RecordingListing& listing,
               const std::vector<size_t>& which);

    /// Fills in what is known.
    /// @return false when it is not known, but will be
    bool Recall(const std::string& folder, ListedRecording& recording);

    /// Takes the next task; nothing when all is known.
    std::optional<Task> Next();
    /// What has come of a task.
    void Store(const Task& task, const FileVersion& version, const Knowledge& known);

    size_t Size() const { return size_; }

private:
    struct Entry {
        std::string name;
        FileVersion version;
        Knowledge known;
        uint64_t asked = 0;  ///< number of the question, 0 = nobody has asked
    };
    struct Folder {
        std::vector<Entry> entries;     ///< by name
        std::vector<uint32_t> pending;  ///< indices of entries, the next one at the back
        uint64_t listed = 0;            ///< number of the latest listing
    };
    using Folders = std::map<std::string, Folder>;

    std::vector<Entry> Merge(std::vector<Entry> before, RecordingListing& listing) const;
    void MakeRoom(const Folder& newest);
    Entry* Find(const std::string& folder, const std::string& name);
    static void Queue(Folder& folder);
    static bool HasWork(Folder& folder);

    const size_t maxEntries_;
    Folders folders_;
    size_t size_ = 0;     ///< entries of all folders
    uint64_t count_ = 0;  ///< of listings and questions
};

}  // namespace vms
