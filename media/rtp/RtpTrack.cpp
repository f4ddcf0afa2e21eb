#include "media/rtp/RtpTrack.h"

extern "C" {
#include <libavutil/random_seed.h>
}

#include <algorithm>
#include <cstdlib>

#include "media/rtp/RtpPackets.h"
#include "platform/ByteFields.h"

// A packet of media (RFC 3550, 5.1), big-endian:
//
//   0  0x80 | 0x10 if an extension follows
//   1  payload type | 0x80 for the last one of a picture
//   2  sequence (2)   4  timestamp   8  source
//
// The extension (ONVIF Streaming, "RTP header extension"), on a unit's first packet:
//
//  12  0xabac (2) | words that follow: 3 (2)
//  16  NTP time of the recording (8)
//  24  0x80 clean point, 0x40 end of a section, 0x20 discontinuity, 0x10 terminal |
//      low byte of CSeq | 0 (2)
//
// A sender report with the source's name and, at the end, a farewell (RFC 3550, 6.4 to 6.6):
//
//   0  0x80, 200, words less one: 6 (2) | source
//   8  NTP time (8) | timestamp | packets | octets
//  28  0x81, 202, 3 (2) | source | 1, length 5, five letters, 0
//  44  0x81, 203, 1 (2) | source

namespace vms {
namespace {

constexpr int64_t kSecond = 1'000'000;
constexpr uint64_t kNtpEpoch = 2'208'988'800;  ///< s from 1900 to 1970
constexpr int64_t kStrayMs = 100;  ///< as far may counted sound be from its units' times
constexpr size_t kHeaderSize = 12;
constexpr size_t kExtensionSize = 16;
constexpr size_t kReportSize = 44;
constexpr size_t kFarewellSize = 8;
constexpr std::string_view kName = "media";  ///< the same for all tracks, which belong together

uint64_t NtpTime(int64_t unixUs) {
    const auto us = static_cast<uint64_t>(std::max<int64_t>(unixUs, 0));
    const uint64_t fraction = ((us % kSecond) << 32) / kSecond;
    return ((us / kSecond + kNtpEpoch) << 32) + fraction;
}

/// From "m=video 0 RTP/AVP 96".
int PayloadTypeOf(const std::string& description) {
    const size_t lineEnd = description.find_first_of("\r\n");
    const size_t blank = description.rfind(' ', lineEnd);
    return std::atoi(description.c_str() + blank + 1) & 0x7f;
}

void WriteExtension(const ReplayMark& mark, char* out) {
    SetBigField(out, 0, uint16_t{0xabac});
    SetBigField(out, 2, uint16_t{3});
    SetBigField(out, 4, NtpTime(mark.unixUs));
    out[12] = static_cast<char>((mark.isClean ? 0x80 : 0) | (mark.isSectionEnd ? 0x40 : 0) |
                                (mark.isJump ? 0x20 : 0) | (mark.isTerminal ? 0x10 : 0));
    out[13] = static_cast<char>(mark.request);
}

}  // namespace

RtpTrack::RtpTrack(int number, const MediaUnit& first)
    : number_(number),
      codec_(first.Header().Codec()),
      payloads_(RtpPayloads::Make(first)),
      description_(payloads_->Description()),
      payloadType_(PayloadTypeOf(description_)),
      source_(av_get_random_seed()),
      base_(av_get_random_seed()),
      // From the lower half: none of the first wraps, which not all receivers bear.
      sequence_(static_cast<uint16_t>(av_get_random_seed() & 0x7fff)) {}

int64_t RtpTrack::TicksAt(int64_t lineUs) const {
    return lineUs * payloads_->ClockRate() / kSecond;
}

uint32_t RtpTrack::TimeAt(int64_t lineUs) const {
    return base_ + static_cast<uint32_t>(TicksAt(lineUs));
}

void RtpTrack::Pack(const MediaUnit& unit, int64_t lineUs, bool isJump,
                    const std::optional<ReplayMark>& mark, std::string& packets) {
    const bool isPicture = unit.Header().IsVideo();
    const int64_t due = TicksAt(lineUs);
    if (!isPicture && !isJump && IsOverlap(due))
        return;
    const int64_t ticks = isPicture ? PictureTicks(due) : SoundTicks(due, isJump);
    time_ = base_ + static_cast<uint32_t>(ticks);
    packets_ = &packets;
    mark_ = mark ? &*mark : nullptr;
    const uint32_t lasts = payloads_->Split(unit, *this);
    nextTicks_ = ticks + (isPicture ? 1 : lasts);
    packets_ = nullptr;
    mark_ = nullptr;
}

/// Pictures are told apart by their timestamps.
int64_t RtpTrack::PictureTicks(int64_t due) const {
    return std::max(due, nextTicks_);
}

/// Whether what has been packed reaches far beyond that time.
bool RtpTrack::IsOverlap(int64_t due) const {
    return nextTicks_ - due > Stray();
}

/// Samples are counted, so that they follow each other without a gap.
int64_t RtpTrack::SoundTicks(int64_t due, bool isJump) const {
    const bool goesOn = nextTicks_ >= 0 && !isJump && due - nextTicks_ <= Stray();
    return goesOn ? nextTicks_ : std::max(due, nextTicks_);
}

int64_t RtpTrack::Stray() const {
    return kStrayMs * payloads_->ClockRate() / 1000;
}

void RtpTrack::Take(std::string_view payload, bool isLast, uint32_t ticks) {
    char head[kHeaderSize + kExtensionSize] = {};
    const size_t size = kHeaderSize + (mark_ != nullptr ? kExtensionSize : 0);
    head[0] = static_cast<char>(0x80 | (mark_ != nullptr ? 0x10 : 0));
    head[1] = static_cast<char>(payloadType_ | (isLast ? 0x80 : 0));
    SetBigField(head, 2, sequence_++);
    SetBigField(head, 4, time_ + ticks);
    SetBigField(head, 8, source_);
    if (mark_ != nullptr)
        WriteExtension(*mark_, head + kHeaderSize);
    mark_ = nullptr;
    BeginRtpPacket(*packets_, number_ * 2, size + payload.size());
    packets_->append(head, size).append(payload);
    ++sentPackets_;
    sentOctets_ += static_cast<uint32_t>(payload.size());
}

void RtpTrack::Report(int64_t unixUs, int64_t lineUs, std::string& packets) const {
    AppendReport(unixUs, lineUs, false, packets);
}

void RtpTrack::Farewell(int64_t unixUs, int64_t lineUs, std::string& packets) const {
    AppendReport(unixUs, lineUs, true, packets);
}

void RtpTrack::AppendReport(int64_t unixUs, int64_t lineUs, bool isLast,
                            std::string& packets) const {
    char report[kReportSize + kFarewellSize] = {};
    SetBigField(report, 0, uint32_t{0x80c80006});
    SetBigField(report, 4, source_);
    SetBigField(report, 8, NtpTime(unixUs));
    SetBigField(report, 16, TimeAt(lineUs));
    SetBigField(report, 20, sentPackets_);
    SetBigField(report, 24, sentOctets_);
    SetBigField(report, 28, uint32_t{0x81ca0003});
    SetBigField(report, 32, source_);
    report[36] = 1;
    report[37] = 5;
    kName.copy(report + 38, kName.size());
    SetBigField(report, 44, uint32_t{0x81cb0001});
    SetBigField(report, 48, source_);
    const size_t size = kReportSize + (isLast ? kFarewellSize : 0);
    BeginRtpPacket(packets, number_ * 2 + 1, size);
    packets.append(report, size);
}

}  // namespace vms
