#include "host/play/MediaOutput.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <utility>

#include "host/HostError.h"
#include "host/cli/Output.h"
#include "host/play/ContainerFile.h"
#include "host/play/ElementaryFile.h"
#include "host/play/OutputFile.h"

namespace vms {
namespace {

/// Makes the sink that writes to a path.
using Writer =
    std::function<std::unique_ptr<UnitSink>(const std::string& path, const std::string& name)>;

Writer InContainer(const char* container) {
    return [container](const std::string& path, const std::string& name) {
        return std::make_unique<ContainerFile>(path, container, name);
    };
}

Writer Elementary(UnitCodec codec) {
    return [codec](const std::string& path, const std::string& name) {
        return std::make_unique<ElementaryFile>(path, codec, name);
    };
}

Writer WriterOf(const std::string& name, std::string kind) {
    static const std::map<std::string, Writer> kWriters{
        {"ts", InContainer("mpegts")},
        {"mkv", InContainer("matroska")},
        {"mp4", InContainer("mp4")},
        {"h264", Elementary(UnitCodec::h264)},
        {"h265", Elementary(UnitCodec::h265)},
        {"mjpeg", Elementary(UnitCodec::jpeg)},
        {"aac", Elementary(UnitCodec::aac)},
        {"alaw", Elementary(UnitCodec::alaw)},
        {"mulaw", Elementary(UnitCodec::mulaw)},
    };
    const bool byName = kind.empty();
    if (byName && name == kStandardOutput) {
        kind = "ts";
    } else if (byName) {
        const std::string ending = std::filesystem::path(name).extension().string();
        kind = ending.substr(std::min<size_t>(ending.size(), 1));
    }
    const auto found = kWriters.find(kind);
    if (found == kWriters.end())
        throw HostError((byName ? name + ": the name must end in" : "the format must be") +
                        " ts, mkv, mp4, h264, h265, mjpeg, aac, alaw or mulaw");
    return found->second;
}

class MediaOutput final : public UnitSink {
public:
    MediaOutput(const std::string& name, Writer writer) : file_(name), writer_(std::move(writer)) {}

    void Take(const UnitHeader& header, std::string_view payload) override {
        if (sink_ == nullptr)
            sink_ = writer_(file_.Open(), file_.Name());
        sink_->Take(header, payload);
    }

    void Finish() override {
        if (sink_ == nullptr)
            return;
        try {
            sink_->Finish();
            sink_.reset();
            if (!file_.Keep())
                PrintError("nothing has come that " + file_.Name() + " could hold");
        } catch (const HostError& error) {
            sink_.reset();
            const auto leftover = file_.Leftover();
            throw HostError(error.what() +
                            (leftover ? "; what has come is in " + *leftover : std::string()));
        }
    }

private:
    OutputFile file_;
    const Writer writer_;
    std::unique_ptr<UnitSink> sink_;  ///< null before the first unit
};

}  // namespace

std::unique_ptr<UnitSink> OpenMediaOutput(const std::string& name, const std::string& kind) {
    return std::make_unique<MediaOutput>(name, WriterOf(name, kind));
}

}  // namespace vms
