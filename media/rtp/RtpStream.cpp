#include "media/rtp/RtpStream.h"

#include <algorithm>

#include "media/MediaError.h"
#include "media/MediaLog.h"

namespace vms {
namespace {

constexpr int64_t kReportUs = 5'000'000;  ///< from one report of a track to the next
constexpr int64_t kSlew = 256;  ///< the share of a later arrival that the clocks' distance follows

int MediaOf(const MediaUnit& unit) {
    return unit.Header().IsVideo() ? 0 : 1;
}

bool IsSound(const MediaUnit& unit) {
    return unit.Header().type == MediaType::kAudio;
}

}  // namespace

RtpStream::RtpStream(const MediaUnit* pictures, const MediaUnit* sound, int64_t forward)
    : line_(forward) {
    if (pictures != nullptr) {
        tracks_.push_back(std::make_unique<RtpTrack>(0, *pictures));
        byMedia_[0] = 0;
    }
    if (sound == nullptr)
        return;
    try {
        const auto number = static_cast<int>(tracks_.size());
        tracks_.push_back(std::make_unique<RtpTrack>(number, *sound));
        byMedia_[1] = number;
    } catch (const MediaError& error) {
        if (pictures == nullptr)
            throw;
        VMS_MEDIA_LOG(2, "RtpStream", "the sound is left out: %s", error.what());
    }
}

std::optional<int> RtpStream::TrackOf(const MediaUnit& unit) const {
    if (!unit.Header().IsVideo() && !IsSound(unit))
        return std::nullopt;
    const int number = byMedia_[static_cast<size_t>(MediaOf(unit))];
    if (number < 0 || tracks_[static_cast<size_t>(number)]->Codec() != unit.Header().Codec())
        return std::nullopt;
    return number;
}

bool RtpStream::HasChanged(const MediaUnit& unit) const {
    if (!unit.Header().IsVideo() && !IsSound(unit))
        return false;
    const int number = byMedia_[static_cast<size_t>(MediaOf(unit))];
    return number >= 0 && tracks_[static_cast<size_t>(number)]->Codec() != unit.Header().Codec();
}

std::optional<RtpStream::Packed> RtpStream::Pack(const MediaUnit& unit, int64_t unixUs,
                                                 std::optional<ReplayMark> mark) {
    const std::optional<int> number = TrackOf(unit);
    if (!number || unit.Payload().empty())
        return std::nullopt;
    RtpTrack& track = *tracks_[static_cast<size_t>(*number)];
    const RtpLine::Place place = line_.Of(unit.Header().timestampMs);
    NoteTime(unixUs, place.us, place.isJump);
    if (mark)
        mark->isJump = mark->isJump || place.isJump;
    Packed packed;
    packed.track = *number;
    packed.isLeadIn = place.isLeadIn;
    packed.sequence = track.NextSequence();
    packed.time = track.TimeAt(place.us);
    packed.lineUs = place.us;
    packed.packets.reserve(unit.Payload().size() + unit.Payload().size() / 64 + 128);
    int64_t& reported = reportedUs_[static_cast<size_t>(*number)];
    if (unixUs - reported >= kReportUs || unixUs < reported) {
        reported = unixUs;
        track.Report(unixUs, LineAt(unixUs), packed.packets);
    }
    track.Pack(unit, place.us, place.isJump, mark, packed.packets);
    if (packed.sequence == track.NextSequence())
        return std::nullopt;
    return packed;
}

/// The clocks' distance is that of the unit that came quickest; where that grows, clocks drift.
void RtpStream::NoteTime(int64_t unixUs, int64_t lineUs, bool isJump) {
    newestUs_ = std::max(newestUs_, lineUs);
    const int64_t offset = unixUs - lineUs;
    if (!hasOffset_ || isJump || offset < offsetUs_)
        offsetUs_ = offset;
    else
        offsetUs_ += (offset - offsetUs_) / kSlew;
    hasOffset_ = true;
}

int64_t RtpStream::LineAt(int64_t unixUs) const {
    return hasOffset_ ? unixUs - offsetUs_ : newestUs_;
}

void RtpStream::Begin(int64_t startMs, double scale) {
    newestUs_ = line_.Begin(startMs, scale);
    hasOffset_ = false;
}

RtpStream::Start RtpStream::NextOf(size_t track) const {
    return {tracks_[track]->NextSequence(), tracks_[track]->TimeAt(newestUs_)};
}

std::string RtpStream::Reports(unsigned tracks, int64_t lineUs) const {
    std::string packets;
    for (size_t i = 0; i < tracks_.size(); ++i) {
        if ((tracks >> i & 1) != 0)
            tracks_[i]->Report(lineUs + offsetUs_, lineUs, packets);
    }
    return packets;
}

std::string RtpStream::Farewells(unsigned tracks, int64_t unixUs) const {
    std::string packets;
    for (size_t i = 0; i < tracks_.size(); ++i) {
        if ((tracks >> i & 1) != 0)
            tracks_[i]->Farewell(unixUs, LineAt(unixUs), packets);
    }
    return packets;
}

}  // namespace vms
