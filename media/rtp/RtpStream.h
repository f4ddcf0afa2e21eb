#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/rtp/RtpLine.h"
#include "media/rtp/RtpTrack.h"
#include "media/unit/MediaUnit.h"

namespace vms {

/// A stream's pictures and sound on their way over RTP: packed once, whoever they go to. Its tracks
/// have numbers from 0 up, pictures first; their RTCP tells what the wall clock shows.
/// Thread-bound.
class RtpStream {
public:
    static constexpr int kMostTracks = 2;

    /// The packets of one unit, as RtpPackets.h has them, reports included.
    struct Packed {
        std::string packets;
        int track = 0;
        uint16_t sequence = 0;  ///< of its first packet
        uint32_t time = 0;      ///< RTP timestamp of its place on the line
        int64_t lineUs = 0;     ///< that place
        bool isLeadIn = false;
    };

    /// What a receiver must know of a track before its first packet.
    struct Start {
        uint16_t sequence = 0;
        uint32_t time = 0;
    };

    /// @param pictures, sound units that the tracks can begin with, null = none; one of them is
    ///        there
    /// @param forward step ahead of the units' times that is a jump, us
    /// @throws MediaError when neither can travel; a sound that cannot is left out
    RtpStream(const MediaUnit* pictures, const MediaUnit* sound, int64_t forward);

    size_t Tracks() const { return tracks_.size(); }
    const RtpTrack& Track(size_t number) const { return *tracks_[number]; }

    /// The number of the track that the unit belongs to; nothing = to none.
    std::optional<int> TrackOf(const MediaUnit& unit) const;
    /// Whether the stream's pictures or its sound are coded otherwise than they were.
    bool HasChanged(const MediaUnit& unit) const;

    /// @param unixUs now, us since the epoch
    /// @param mark   what the replay extension says besides "discontinuity", nothing = there is
    /// none
    /// @return nothing for a unit that does not travel
    std::optional<Packed> Pack(const MediaUnit& unit, int64_t unixUs,
                               std::optional<ReplayMark> mark = std::nullopt);

    /// As RtpLine.
    void Begin(int64_t startMs, double scale);

    /// Where a track goes on: after Begin at what was asked for.
    Start NextOf(size_t track) const;

    int64_t NewestMs() const { return line_.NewestMs(); }

    int64_t NewestUs() const { return newestUs_; }

    /// Sender reports for the tracks of a set, whose bits are their numbers, about a place on the
    /// line: some players take the first report they see for the beginning of everything.
    std::string Reports(unsigned tracks, int64_t lineUs) const;
    std::string Farewells(unsigned tracks, int64_t unixUs) const;

private:
    void NoteTime(int64_t unixUs, int64_t lineUs, bool isJump);
    int64_t LineAt(int64_t unixUs) const;

    std::vector<std::unique_ptr<RtpTrack>> tracks_;
    std::array<int, kMostTracks> byMedia_{-1, -1};   ///< numbers of pictures and sound, -1 = none
    std::array<int64_t, kMostTracks> reportedUs_{};  ///< when a track was last reported
    RtpLine line_;
    int64_t newestUs_ = 0;  ///< of the line
    bool hasOffset_ = false;
    int64_t offsetUs_ = 0;  ///< of the wall clock against the line
};

}  // namespace vms
