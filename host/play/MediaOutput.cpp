#include "host/play/MediaOutput.h"

#include <filesystem>
#include <map>

#include "host/HostError.h"
#include "host/play/ContainerFile.h"
#include "host/play/ElementaryFile.h"

namespace vms {

std::unique_ptr<UnitSink> OpenMediaOutput(const std::string& path) {
    static const std::map<std::string, UnitCodec> kElementary{
        {".h264", UnitCodec::h264}, {".h265", UnitCodec::h265}, {".mjpeg", UnitCodec::jpeg},
        {".aac", UnitCodec::aac},   {".alaw", UnitCodec::alaw}, {".mulaw", UnitCodec::mulaw}};
    const std::string ending = std::filesystem::path(path).extension().string();
    if (const auto found = kElementary.find(ending); found != kElementary.end())
        return std::make_unique<ElementaryFile>(path, found->second);
    if (ending == ".ts" || ending == ".mkv" || ending == ".mp4")
        return std::make_unique<ContainerFile>(path);
    throw HostError(path +
                    ": the name must end in ts, mkv, mp4, h264, h265, mjpeg, aac, alaw or "
                    "mulaw");
}

}  // namespace vms
