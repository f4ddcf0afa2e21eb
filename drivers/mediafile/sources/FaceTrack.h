#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "media/recording/ContentRoots.h"

namespace vms::mediafile {

/// A face picture and when it is shown.
struct FacePicture {
    int64_t offsetMs = 0;    ///< ms since the start of the track
    std::vector<char> jpeg;  ///< not empty, below 4 MiB
};

/// The face pictures of a channel, shown over and over.
struct FaceTrack {
    int64_t periodMs = 0;               ///< length of a round, longer than the last offset
    std::vector<FacePicture> pictures;  ///< by offset
};

/// Reads "faces.json" of a channel's folder:
///   {"period": 10, "faces": [{"offset": 1.5, "image": "a.jpg"}, {"offset": 4, "data":
///   "<base64>"}]}
/// Times are seconds; images are files of the same folder, and no links out of the roots. Entries
/// that cannot be used are skipped with a log line. @return a track without pictures when there is
/// nothing to show. Re-entrant.
FaceTrack ReadFaceTrack(const std::filesystem::path& folder, const ContentRoots& roots);

}  // namespace vms::mediafile
