#include "drivers/mediafile/sources/FaceTrack.h"

#include <json/value.h>

#include <algorithm>
#include <fstream>
#include <string>

extern "C" {
#include <libavutil/base64.h>
}

#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "platform/Json.h"

namespace fs = std::filesystem;

namespace vms::mediafile {
namespace {

constexpr size_t kMaxPictureBytes = 4 * 1024 * 1024 - 1;
constexpr size_t kMaxSidecarBytes = 16 * 1024 * 1024;
constexpr size_t kMaxPictures = 256;
constexpr double kMaxSeconds = 24 * 3600;
constexpr int64_t kPauseAfterLastMs = 1000;

/// A folder and what its files may not lead out of.
struct Source {
    const fs::path& folder;
    const ContentRoots& roots;
};

/// @return empty for a file that is missing, special, too long or elsewhere
std::vector<char> ReadFile(const Source& source, const char* name, size_t maxBytes) {
    const fs::path file = source.folder / name;
    std::error_code error;
    if (!fs::is_regular_file(file, error) || !source.roots.Admit(file))
        return {};
    const auto size = fs::file_size(file, error);
    if (error || size > maxBytes)
        return {};
    std::vector<char> bytes(size);
    std::ifstream stream(file, std::ios::binary);
    stream.read(bytes.data(), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    return bytes;
}

std::vector<char> DecodeBase64(const std::string& text) {
    std::vector<char> bytes(AV_BASE64_DECODE_SIZE(text.size()) + 1);
    const int size = av_base64_decode(reinterpret_cast<uint8_t*>(bytes.data()), text.c_str(),
                                      static_cast<int>(bytes.size()));
    bytes.resize(static_cast<size_t>(std::max(size, 0)));
    return bytes;
}

std::vector<char> ReadPicture(const Source& source, const Json::Value& entry) {
    std::string text;
    if (ReadString(entry, "data", text))
        return DecodeBase64(text);
    // A plain name only: a sidecar must not reach out of its folder.
    if (!ReadString(entry, "image", text) || text != fs::path(text).filename().string())
        return {};
    return ReadFile(source, text.c_str(), kMaxPictureBytes);
}

bool ReadSeconds(const Json::Value& object, const char* key, int64_t& ms) {
    const Json::Value& value = Member(object, key);
    if (!value.isNumeric() || !(value.asDouble() >= 0 && value.asDouble() <= kMaxSeconds))
        return false;
    ms = static_cast<int64_t>(value.asDouble() * 1000);
    return true;
}

bool ReadEntry(const Source& source, const Json::Value& entry, FacePicture& picture) {
    if (!ReadSeconds(entry, "offset", picture.offsetMs))
        return false;
    picture.jpeg = ReadPicture(source, entry);
    return !picture.jpeg.empty() && picture.jpeg.size() <= kMaxPictureBytes;
}

void ReadPictures(const Source& source, const Json::Value& faces, FaceTrack& track) {
    if (!faces.isArray())
        return;
    for (const Json::Value& entry : faces) {
        FacePicture picture;
        if (track.pictures.size() < kMaxPictures && ReadEntry(source, entry, picture))
            track.pictures.push_back(std::move(picture));
        else
            VMS_LOG(2, "FaceTrack", "skip a face of %s", source.folder.c_str());
    }
    std::stable_sort(track.pictures.begin(), track.pictures.end(),
                     [](const FacePicture& left, const FacePicture& right) {
                         return left.offsetMs < right.offsetMs;
                     });
}

}  // namespace

FaceTrack ReadFaceTrack(const fs::path& folder, const ContentRoots& roots) {
    const Source source{folder, roots};
    FaceTrack track;
    const std::vector<char> bytes = ReadFile(source, "faces.json", kMaxSidecarBytes);
    Json::Value root;
    if (bytes.empty() || !ParseJson(std::string(bytes.begin(), bytes.end()).c_str(), root))
        return track;
    ReadPictures(source, Member(root, "faces"), track);
    ReadSeconds(root, "period", track.periodMs);
    if (!track.pictures.empty()) {
        track.periodMs =
            std::max(track.periodMs, track.pictures.back().offsetMs + kPauseAfterLastMs);
    }
    return track;
}

}  // namespace vms::mediafile
