#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "media/packet/MediaPacket.h"
#include "media/unit/MediaUnit.h"

namespace vms::test {

/// A folder for the clips of a test program, removed with the object.
class ClipFolder {
public:
    ClipFolder();
    ~ClipFolder();
    ClipFolder(const ClipFolder&) = delete;
    ClipFolder& operator=(const ClipFolder&) = delete;

    /// Has ffmpeg make a clip: a test picture and a tone, both by libav's names.
    /// @param video, audio options such as {"-c:v", "libx264"}; audio empty = no sound
    std::filesystem::path Make(const std::string& name, double seconds, const std::string& size,
                               const std::vector<std::string>& video,
                               const std::vector<std::string>& audio) const;

    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

/// Options for 25 pictures a second in groups of 25, without pictures out of order.
std::vector<std::string> H264();
std::vector<std::string> H265();
/// Sound, mono.
std::vector<std::string> Aac();
std::vector<std::string> ALaw();

/// The units of a clip as a source would send them, timestamps from 0.
std::vector<MediaUnit> UnitsOf(const std::filesystem::path& clip);

/// The same unit at another time.
MediaUnit At(const MediaUnit& unit, uint32_t timestampMs);

/// What a container holds, in its order.
struct FoundPacket {
    bool isVideo = false;
    bool isKey = false;
    double time = 0;  ///< s
    size_t size = 0;
};
struct FoundMedia {
    std::string video;  ///< libav's name of the codec, "" = none
    std::string audio;
    std::vector<FoundPacket> packets;

    std::vector<double> Times(bool ofVideo) const;
};

/// Reads bytes back, by way of a file. @throws std::runtime_error when they are no medium
FoundMedia ReadBack(const std::string& bytes, const std::filesystem::path& file);

/// What ffmpeg complains of when it decodes a file, "" = nothing.
std::string Complaints(const std::filesystem::path& file);

}  // namespace vms::test
