#include "host/play/MediaOutput.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <utility>

#include "host/play/FileBytes.h"
#include "host/play/OutputFile.h"
#include "host/text/HostError.h"
#include "host/text/Output.h"
#include "media/MediaError.h"
#include "media/mux/ElementaryStream.h"
#include "media/mux/Muxer.h"

namespace vms::host {
namespace {

/// Makes the sink that writes to a path.
using Writer = std::function<std::unique_ptr<UnitSink>(const std::string& path)>;

Writer InContainer(const char* container) {
    return [container](const std::string& path) {
        return std::make_unique<Muxer>(std::make_unique<FileBytes>(path), container);
    };
}

Writer Elementary(MediaCodec codec) {
    return [codec](const std::string& path) {
        return std::make_unique<ElementaryStream>(std::make_unique<FileBytes>(path), codec);
    };
}

Writer WriterOf(const std::string& name, std::string kind) {
    static const std::map<std::string, Writer> kWriters{
        {"ts", InContainer("mpegts")},
        {"mkv", InContainer("matroska")},
        {"mp4", InContainer("mp4")},
        {"h264", Elementary(MediaCodec::kH264)},
        {"h265", Elementary(MediaCodec::kH265)},
        {"mjpeg", Elementary(MediaCodec::kJpeg)},
        {"aac", Elementary(MediaCodec::kAac)},
        {"alaw", Elementary(MediaCodec::kALaw)},
        {"mulaw", Elementary(MediaCodec::kMuLaw)},
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

    void Take(const MediaUnitHeader& header, std::string_view payload) override {
        Guarded([&] {
            if (sink_ == nullptr)
                sink_ = writer_(file_.Open());
            sink_->Take(header, payload);
        });
    }

    void Finish() override {
        if (sink_ == nullptr)
            return;
        try {
            Guarded([this] { sink_->Finish(); });
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
    template <class Step>
    void Guarded(Step step) const {
        try {
            step();
        } catch (const MediaError& error) {
            throw HostError("cannot write " + file_.Name() + ": " + error.what());
        }
    }

    OutputFile file_;
    const Writer writer_;
    std::unique_ptr<UnitSink> sink_;  ///< null before the first unit
};

}  // namespace

std::unique_ptr<UnitSink> OpenMediaOutput(const std::string& name, const std::string& kind) {
    return std::make_unique<MediaOutput>(name, WriterOf(name, kind));
}

}  // namespace vms::host
