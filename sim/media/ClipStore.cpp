#include "sim/media/ClipStore.h"

#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <sstream>
#include <system_error>

#include <unistd.h>

#include "sim/media/ClipEncoder.h"
#include "sim/media/ClipFile.h"

namespace vms::sim {

namespace {

namespace fs = std::filesystem;

fs::path FileFor(const std::string& folder, ClipKind kind) {
    return fs::path(folder) / (std::string(FormatOf(kind).name) + ".clip");
}

std::optional<Clip> ReadCached(const std::string& folder, ClipKind kind) {
    if (folder.empty())
        return std::nullopt;
    std::ifstream file(FileFor(folder, kind), std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return UnpackClip(kind, bytes.str());
}

// Written beside and renamed, so that another process never reads half a file.
void WriteCached(const std::string& folder, const Clip& clip) {
    if (folder.empty())
        return;
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    const fs::path target = FileFor(folder, clip.kind);
    const fs::path part = target.string() + '.' + std::to_string(getpid());
    std::ofstream file(part, std::ios::binary | std::ios::trunc);
    const std::string bytes = PackClip(clip);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (file)
        fs::rename(part, target, ignored);
    else
        fs::remove(part, ignored);
}

std::shared_ptr<const Clip> Load(const std::string& folder, ClipKind kind) {
    if (auto cached = ReadCached(folder, kind))
        return std::make_shared<const Clip>(std::move(*cached));
    auto clip = std::make_shared<const Clip>(EncodeClip(kind));
    WriteCached(folder, *clip);
    return clip;
}

}  // namespace

ClipMap LoadClips(const std::string& cacheFolder) {
    std::map<ClipKind, std::future<std::shared_ptr<const Clip>>> loading;
    for (const ClipKind kind : kAllClips)
        loading[kind] = std::async(std::launch::async, Load, cacheFolder, kind);
    ClipMap clips;
    for (auto& [kind, result] : loading)
        clips[kind] = result.get();
    return clips;
}

}  // namespace vms::sim
