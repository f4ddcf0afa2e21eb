#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/play/UnitHeader.h"

struct AVFormatContext;
struct AVStream;

namespace vms {

/// Video and sound in a container, written as they come, from the first key picture on. The tracks
/// are chosen from the first second of media; sound that the container cannot hold is left out, and
/// so is what begins later.
class ContainerFile final : public UnitSink {
public:
    /// @param path      of the file to write over, or kStandardOutput; others than regular files
    /// get
    ///                  each unit as it comes
    /// @param container libav's name of it
    /// @param name      of the file, for messages
    /// @throws HostError
    ContainerFile(const std::string& path, const char* container, const std::string& name);

    void Take(const UnitHeader& header, std::string_view payload) override;
    void Finish() override;

private:
    struct FormatDeleter {
        void operator()(AVFormatContext* format) const;
    };
    struct Unit {
        UnitHeader header;
        std::string payload;
    };
    struct Track {
        UnitCodec codec = UnitCodec::unknown;
        AVStream* stream = nullptr;  ///< owned by the format; null = none
        int64_t lastTime = -1;       ///< ms, as written
    };

    bool KnowsTracks() const;
    void Begin();
    void AddTrack(Track& track, const Unit& first);
    void Write(const Unit& unit);
    int64_t TimeOf(const UnitHeader& header, Track& track);
    [[noreturn]] void Fail(const std::string& what, int error) const;

    const std::string name_;
    std::unique_ptr<AVFormatContext, FormatDeleter> format_;
    std::vector<Unit> waiting_;  ///< until the tracks are known
    bool begun_ = false;
    Track video_;
    Track audio_;
    int64_t offset_ = 0;  ///< ms added to timestamps, which jump back on a seek
};

}  // namespace vms
