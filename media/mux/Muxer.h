#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/mux/ByteSink.h"
#include "media/mux/ContainerOutput.h"
#include "media/mux/UnitSink.h"

struct AVStream;

namespace vms {

/// Video and sound in a container, written as they come, from the first key picture on. The tracks
/// are chosen from the first second of media; sound that the container cannot hold is left out, and
/// so is what begins later. Times go on where those of the units jump back.
class Muxer final : public UnitSink {
public:
    /// @param bytes     where there is no seeking, each unit goes there as it comes
    /// @param container libav's name of it, such as "mpegts", "matroska" or "mp4"
    /// @throws MediaError
    Muxer(std::unique_ptr<ByteSink> bytes, const char* container);
    ~Muxer() override;

    void Take(const MediaUnitHeader& header, std::string_view payload) override;
    void Finish() override;

private:
    struct Unit {
        MediaUnitHeader header;
        std::string payload;
    };
    struct Track {
        MediaCodec codec = MediaCodec::kUnknown;
        AVStream* stream = nullptr;  ///< owned by the format; null = none
        int64_t lastTime = -1;       ///< ms, as written
    };

    bool KnowsTracks() const;
    void Begin();
    void AddTrack(Track& track, const Unit& first);
    void Write(const Unit& unit);
    int64_t TimeOf(const MediaUnitHeader& header, Track& track);

    const std::unique_ptr<ByteSink> bytes_;
    ContainerOutput output_;
    std::vector<Unit> waiting_;  ///< until the tracks are known
    bool begun_ = false;
    Track video_;
    Track audio_;
    int64_t offset_ = 0;  ///< ms added to timestamps, which jump back on a seek
};

}  // namespace vms
