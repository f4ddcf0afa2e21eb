#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/mux/ContainerWriter.h"
#include "media/mux/StreamTimes.h"
#include "media/mux/TransportCounters.h"
#include "media/unit/MediaUnit.h"

namespace vms {

/// What one unit has become in a container.
struct LivePiece {
    std::string bytes;
    size_t gapBytes = 0;  ///< of them, in front: for who has lost the unit before, and only for him
    UnitKind kind = UnitKind::kOther;
    uint32_t timestampMs = 0;  ///< the unit's
};

/// A stream in a container that is read as it is written: each unit becomes bytes at once, whoever
/// begins at a key picture can read on from there. Takes H.264, H.265 and AAC, other units are left
/// out; from the first key picture on. Times go on where those of the units jump. Thread-bound.
///
/// Players like to know the tracks at the beginning: sound is waited for, unless it has come or is
/// expected, until half a second of media is there. When the tracks change, by other parameter
/// sets, another codec or sound that begins later, a transport stream goes on with other tables;
/// fragments begin anew at a key picture, with another head. A file goes on as long as its pictures
/// can be decoded, and then has its end; sound that begins later is left out of it.
class LiveMuxer {
public:
    /// @param speed as in StreamTimes
    explicit LiveMuxer(LiveContainer container, double speed = 1);
    ~LiveMuxer();
    LiveMuxer(const LiveMuxer&) = delete;
    LiveMuxer& operator=(const LiveMuxer&) = delete;

    /// Whether containers hold pictures of that kind.
    static bool HoldsPictures(MediaCodec codec) {
        return codec == MediaCodec::kH264 || codec == MediaCodec::kH265;
    }

    /// A unit that is damaged becomes nothing. @param pieces gets more
    /// @throws MediaError when a file has come to its end and cannot get its index, as Finish
    void Take(const MediaUnit& unit, std::vector<LivePiece>& pieces);

    /// Sound of that kind will come: it need not be waited for.
    void Expect(const AacConfig& sound);

    /// The stream has ended: what has been waiting for sound becomes pieces without, and a file
    /// gets its index. Nothing is taken any more.
    void Finish(std::vector<LivePiece>& pieces);

    /// What a reader needs in front of the first piece; "" = nothing (yet).
    const std::string& Head() const { return head_; }

    /// How many times it has begun; 0 = not yet. Who has read pieces of an earlier beginning cannot
    /// read on.
    int Beginnings() const { return beginnings_; }

private:
    bool IsTransport() const { return container_ == LiveContainer::kTransportStream; }
    bool IsFile() const { return container_ == LiveContainer::kFile; }
    bool Notice(const MediaUnit& unit);
    void NoticeSound(const AacConfig& config);
    void NoticeKeyPicture(const MediaUnit& unit);
    bool MustWait() const;
    bool Begin();
    void Write(const MediaUnit& unit, std::vector<LivePiece>& pieces);
    void EndFile(std::vector<LivePiece>& pieces);
    void WritePicture(const MediaUnit& unit);
    void WriteSound(const MediaUnit& unit);
    void Release(std::vector<LivePiece>& pieces);

    const LiveContainer container_;
    StreamTimes times_;
    TransportCounters counters_;
    std::optional<StreamTracks>
        tracks_;  ///< as they are by now; unset before the first key picture
    std::optional<AacConfig> expected_;
    bool stale_ = false;  ///< the writer has other tracks
    std::unique_ptr<ContainerWriter> writer_;
    std::vector<MediaUnit> waiting_;  ///< until the tracks are known
    size_t waitingBytes_ = 0;
    std::string head_;
    int beginnings_ = 0;
    int writers_ = 0;
    bool ended_ = false;
};

}  // namespace vms
