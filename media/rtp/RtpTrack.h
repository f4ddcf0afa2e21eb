#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "media/rtp/RtpPayloads.h"
#include "media/unit/MediaUnit.h"

namespace vms {

/// What ONVIF's replay extension says of a picture or a piece of sound.
struct ReplayMark {
    int64_t unixUs = 0;         ///< when it was recorded, us since the epoch
    bool isClean = false;       ///< decoding can begin here
    bool isJump = false;        ///< does not continue what came before
    bool isSectionEnd = false;  ///< the last one of its track before a gap, or the end
    bool isTerminal = false;    ///< the last one of its track
    uint8_t request = 0;        ///< the low byte of the CSeq of the PLAY that it belongs to
};

/// One track on its way over RTP: its units become packets, in the form of RtpPackets.h. Thread-
/// bound.
class RtpTrack final : private RtpPayloadSink {
public:
    /// @param number of the track, 0..127 @param first as RtpPayloads::Make
    /// @throws MediaError that says why such a track cannot travel
    RtpTrack(int number, const MediaUnit& first);

    int Number() const { return number_; }
    MediaCodec Codec() const { return codec_; }
    /// Its part of an SDP description, without "a=control".
    const std::string& Description() const { return description_; }

    uint32_t Source() const { return source_; }
    /// Of the next packet.
    uint16_t NextSequence() const { return sequence_; }
    /// The timestamp of a place on the line.
    uint32_t TimeAt(int64_t lineUs) const;

    /// Appends the packets of a unit; none of one that is broken.
    /// @param isJump sound is no more counted on from what came before
    void Pack(const MediaUnit& unit, int64_t lineUs, bool isJump,
              const std::optional<ReplayMark>& mark, std::string& packets);

    /// Appends a sender report. @param unixUs the same moment as lineUs
    void Report(int64_t unixUs, int64_t lineUs, std::string& packets) const;

    /// Appends a report with a farewell.
    void Farewell(int64_t unixUs, int64_t lineUs, std::string& packets) const;

private:
    void Take(std::string_view payload, bool isLast, uint32_t ticks) override;
    int64_t TicksAt(int64_t lineUs) const;
    int64_t PictureTicks(int64_t due) const;
    int64_t SoundTicks(int64_t due, bool isJump) const;
    bool IsOverlap(int64_t due) const;
    int64_t Stray() const;
    void AppendReport(int64_t unixUs, int64_t lineUs, bool isLast, std::string& packets) const;

    const int number_;
    const MediaCodec codec_;
    const std::unique_ptr<RtpPayloads> payloads_;
    const std::string description_;
    const int payloadType_;
    const uint32_t source_;
    const uint32_t base_;  ///< timestamp of the line's begin
    uint16_t sequence_;
    uint32_t sentPackets_ = 0;
    uint32_t sentOctets_ = 0;
    int64_t nextTicks_ = -1;  ///< the earliest for a picture, where sound goes on; -1 = none yet
    // While a unit is packed:
    std::string* packets_ = nullptr;
    uint32_t time_ = 0;
    const ReplayMark* mark_ = nullptr;  ///< null = none, or it has been said
};

}  // namespace vms
