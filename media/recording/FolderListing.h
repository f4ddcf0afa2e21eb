#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "media/recording/ContentRoots.h"
#include "media/recording/FileVersion.h"

namespace vms {

/// So many recordings of a channel are seen; of more, the newest.
inline constexpr size_t kMaxListed = 200'000;

/// What is known of a file's content.
struct Knowledge {
    enum class Content : uint8_t { kUnknown, kVideo, kNoVideo };

    Content content = Content::kUnknown;
    int64_t durationMs = 0;  ///< of a video, at least 1
};

/// A recording as its folder lists it.
struct ListedRecording {
    std::string name;     ///< without the folder
    int64_t startMs = 0;  ///< ms since the Unix epoch, UTC
    int fileType = 0;     ///< 1 schedule, 2 motion, 16 alarm
    bool asked = false;   ///< somebody wants to know it; `version` is set
    FileVersion version;
    Knowledge known;
};

/// By name, which is by start.
using RecordingListing = std::vector<ListedRecording>;

/// The channel folders of a device in natural order ("ch2" before "ch10"); the folder itself when
/// it has no sub-folders. Links that lead out of the roots are passed over. Re-entrant.
/// @return empty for a folder that is not there or not within the roots
std::vector<std::filesystem::path> ListChannelFolders(const std::filesystem::path& device,
                                                      const ContentRoots& roots);

/// The recordings of a channel by their names; no file is looked into. Files that are links out of
/// the roots are passed over. Re-entrant.
RecordingListing ListRecordings(const std::filesystem::path& folder, const ContentRoots& roots);

}  // namespace vms
