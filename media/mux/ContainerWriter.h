#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/mux/ContainerOutput.h"
#include "media/mux/GrowingBytes.h"
#include "media/packet/AdtsHeader.h"
#include "media/packet/LibavInput.h"
#include "media/unit/MediaHeader.h"

namespace vms {

enum class LiveContainer {
    kTransportStream,  ///< MPEG-TS, whose tables stand in front of each key picture
    kFragments,        ///< MP4 behind a head of its own, one fragment a unit
    kFile,             ///< an ordinary MP4, with its index at its end
};

/// What a stream consists of.
struct StreamTracks {
    MediaUnitHeader pictures;   ///< of a key picture
    std::string parameterSets;  ///< of the pictures, as Annex B; "" = not known
    std::optional<AacConfig> sound{};
};

/// libav's container for one set of tracks, read as it is written. Thread-bound; all of it throws
/// MediaError.
///
/// A file's bytes never change once they are there, though its index comes last: each group of
/// pictures is a box of media data of its own, whose length is known when it goes.
class ContainerWriter {
public:
    /// @param number of the writers of this stream before: readers of a transport stream see by it
    ///               that its tables are new
    ContainerWriter(LiveContainer container, const StreamTracks& tracks, int number);

    /// What stands in front of everything. Constant.
    const std::string& Head() const { return head_; }

    /// @param duration of 90 kHz; one that reaches beyond the next picture would move that
    void Picture(std::string_view accessUnit, int64_t timeMs, bool isKey, int64_t duration);

    /// @param adtsFrame with its header; one of another kind than the track's is left out
    /// @param begin     in samples
    void Sound(std::string_view adtsFrame, const AdtsFrame& frame, int64_t begin);

    /// Writes the end.
    void End();

    /// The bytes that have come since.
    std::string Take();

private:
    void AddSound(const AacConfig& config);
    void Begin(int number);
    void Fill(const AVStream& track, std::string_view payload, bool isKey);
    void Put();
    void BeginBox();
    void EndBox();

    const LiveContainer container_;
    GrowingBytes bytes_;
    ContainerOutput output_;
    PacketPtr packet_;
    std::vector<uint8_t> padded_;
    AVStream* pictures_ = nullptr;  ///< owned by the output
    AVStream* sound_ = nullptr;     ///< the same; null = none
    AacConfig soundConfig_;
    std::string head_;
    std::string ready_;   ///< of a file: whole boxes
    bool inBox_ = false;  ///< the same: media data is pending
};

}  // namespace vms
