#include "media/mux/LiveMuxer.h"

#include <algorithm>
#include <utility>

#include "media/MediaError.h"
#include "media/MediaLog.h"
#include "media/mux/ContainerWriter.h"
#include "media/packet/AccessUnit.h"
#include "media/packet/ParameterSets.h"
#include "media/packet/PictureSize.h"

namespace vms {
namespace {

constexpr int64_t kSoundWaitMs = 500;
constexpr size_t kMostWaiting = 256;                    ///< units
constexpr size_t kMostWaitingBytes = size_t{16} << 20;  ///< the same, in bytes
constexpr int kSamplesPerFrame = 1024;

VideoCodec PictureCodec(const MediaUnit& unit) {
    return static_cast<VideoCodec>(unit.Header().codec);
}

bool IsSound(const MediaUnit& unit) {
    return unit.Header().Codec() == MediaCodec::kAac;
}

/// The first frame's; nothing when the unit is damaged.
std::optional<AacConfig> SoundOf(const MediaUnit& unit) {
    const auto frame = ParseAdtsFrame(unit.Payload());
    return frame ? std::optional(frame->config) : std::nullopt;
}

}  // namespace

LiveMuxer::LiveMuxer(LiveContainer container, double speed)
    : container_(container), times_(speed) {}

LiveMuxer::~LiveMuxer() = default;

void LiveMuxer::Take(const MediaUnit& unit, std::vector<LivePiece>& pieces) {
    if (ended_ || !Notice(unit))
        return;
    if (writer_ != nullptr && !(stale_ && (IsTransport() || unit.Header().IsKeyPicture()))) {
        Write(unit, pieces);
        return;
    }
    if (writer_ != nullptr && IsFile()) {
        EndFile(pieces);
        ++beginnings_;
        return;
    }
    waiting_.push_back(unit);
    waitingBytes_ += unit.Bytes().size();
    if (!MustWait())
        Release(pieces);
}

void LiveMuxer::Finish(std::vector<LivePiece>& pieces) {
    if (ended_)
        return;
    if (!waiting_.empty())
        Release(pieces);
    if (writer_ != nullptr && IsFile())
        EndFile(pieces);
    ended_ = true;
}

void LiveMuxer::EndFile(std::vector<LivePiece>& pieces) {
    ended_ = true;
    writer_->End();
    pieces.push_back({writer_->Take()});
}

/// Learns of the tracks. @return whether the unit can be of use
bool LiveMuxer::Notice(const MediaUnit& unit) {
    if (IsSound(unit)) {
        const auto config = SoundOf(unit);
        if (!tracks_ || !config)
            return false;
        NoticeSound(*config);
        return true;
    }
    const std::string_view payload = unit.Payload();
    if (!HoldsPictures(unit.Header().Codec()) ||
        !StartsWithStartCode(reinterpret_cast<const uint8_t*>(payload.data()), payload.size()) ||
        !HasSlice(PictureCodec(unit), payload))
        return false;
    if (unit.Header().IsKeyPicture())
        NoticeKeyPicture(unit);
    return tracks_ && tracks_->pictures.Codec() == unit.Header().Codec();
}

void LiveMuxer::NoticeSound(const AacConfig& config) {
    if (IsFile() && writer_ != nullptr)
        return;
    stale_ = stale_ || tracks_->sound != config;
    tracks_->sound = config;
}

void LiveMuxer::Expect(const AacConfig& sound) {
    expected_ = sound;
    if (tracks_)
        NoticeSound(sound);
}

void LiveMuxer::NoticeKeyPicture(const MediaUnit& unit) {
    std::string sets = ParameterSetsOf(PictureCodec(unit), unit.Payload());
    const bool isOther = !tracks_ || tracks_->pictures.Codec() != unit.Header().Codec();
    const bool hasChanged = !sets.empty() && tracks_ && tracks_->parameterSets != sets;
    if (!isOther && !hasChanged)
        return;
    MediaUnitHeader header = unit.Header();
    const bool isReadable = ReadPictureSize(unit, header.width, header.height);
    if (!IsTransport() && (sets.empty() || !isReadable))
        return;  // there is no head without
    // Key pictures bring their parameter sets; those of H.265 are taken out of MP4.
    const bool isInBand = IsTransport() || (IsFile() && unit.Header().Codec() == MediaCodec::kH264);
    stale_ = stale_ || isOther || !isInBand;
    const auto sound = tracks_ ? tracks_->sound : expected_;
    tracks_ = {header, std::move(sets), sound};
}

/// Whether sound may still come that the head has to name.
bool LiveMuxer::MustWait() const {
    if (beginnings_ > 0 || tracks_->sound)
        return false;
    const auto span = static_cast<int32_t>(waiting_.back().Header().timestampMs -
                                           waiting_.front().Header().timestampMs);
    return waiting_.size() < kMostWaiting && waitingBytes_ < kMostWaitingBytes && span >= 0 &&
           span < kSoundWaitMs;
}

void LiveMuxer::Release(std::vector<LivePiece>& pieces) {
    const std::vector<MediaUnit> units = std::exchange(waiting_, {});
    waitingBytes_ = 0;
    if (!Begin())
        return;
    for (const MediaUnit& unit : units)
        Write(unit, pieces);
}

bool LiveMuxer::Begin() try {
    writer_.reset();
    writer_ = std::make_unique<ContainerWriter>(container_, *tracks_, writers_++);
    stale_ = false;
    head_ = writer_->Head();
    beginnings_ = IsTransport() ? 1 : beginnings_ + 1;
    return true;
} catch (const MediaError& error) {
    VMS_MEDIA_LOG(2, "LiveMuxer", "a stream is left out: %s", error.what());
    tracks_.reset();  // from the next key picture on
    return false;
}

void LiveMuxer::Write(const MediaUnit& unit, std::vector<LivePiece>& pieces) {
    try {
        if (IsSound(unit))
            WriteSound(unit);
        else
            WritePicture(unit);
    } catch (const MediaError& error) {
        VMS_MEDIA_LOG(1, "LiveMuxer", "a unit is left out: %s", error.what());
    }
    LivePiece piece{writer_->Take(), 0, unit.Kind(), unit.Header().timestampMs};
    if (piece.bytes.empty())
        return;
    if (IsTransport()) {
        std::string gap = counters_.Gap();
        counters_.Renumber(piece.bytes);
        piece.gapBytes = gap.size();
        piece.bytes.insert(0, gap);
    }
    pieces.push_back(std::move(piece));
}

void LiveMuxer::WritePicture(const MediaUnit& unit) {
    const int64_t time = times_.OfPicture(unit.Header().timestampMs);
    writer_->Picture(unit.Payload(), time, unit.Header().IsKeyPicture(), times_.PictureDuration());
}

void LiveMuxer::WriteSound(const MediaUnit& unit) {
    std::string_view rest = unit.Payload();
    while (const auto frame = ParseAdtsFrame(rest)) {
        const int rate = SampleRate(frame->config);
        const auto begin = times_.OfSound(unit.Header().timestampMs, kSamplesPerFrame, rate);
        if (begin)
            writer_->Sound(rest.substr(0, frame->size), *frame, *begin);
        rest.remove_prefix(frame->size);
    }
}

}  // namespace vms
