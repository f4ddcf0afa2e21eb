#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>

#include "media/packet/AudioPacketizer.h"
#include "media/packet/LibavInput.h"
#include "media/packet/MediaPacket.h"
#include "media/packet/VideoPacketizer.h"
#include "media/recording/Recording.h"

namespace vms {

/// Reads one recording from front to back as packets with absolute times. The first packet is
/// always a key picture; times of a kind never step back. Damage ends the file early, with a log
/// line; of a recording whose end is not exact the file's own length counts. Thread-bound.
class RecordingReader {
public:
    /// @param stop ends reading early; must outlive the reader
    /// @return null for an unreadable file, which has been logged
    static std::unique_ptr<RecordingReader> Open(const Recording& recording,
                                                 const std::atomic<bool>& stop);

    /// @return false at the end
    bool Next(MediaPacket& packet);

    /// Goes on with the last key picture at or before a time; with the first one of the file when
    /// there is none. Sound before that time is left out.
    /// @param timeMs ms since the Unix epoch, UTC
    void SeekTo(int64_t timeMs);

private:
    RecordingReader(const Recording& recording, const std::atomic<bool>& stop)
        : recording_(recording), stop_(stop), raw_(av_packet_alloc()) {}

    bool OpenInput();
    void SettleEnd();
    bool Read(MediaPacket& packet);
    bool ReadRaw();
    bool Convert(MediaPacket& packet);
    bool StampTime(const AVStream& stream, int64_t ticks, MediaPacket& packet);
    bool Gather(int64_t timeMs);
    bool GatherFrom(int64_t fromMs, int64_t timeMs);

    Recording recording_;
    const std::atomic<bool>& stop_;
    PacketPtr raw_;
    std::unique_ptr<LibavInput> input_;
    std::unique_ptr<VideoPacketizer> video_;
    std::unique_ptr<AudioPacketizer> audio_;  ///< null: no sound that players understand
    int64_t baseMs_ = 0;                      ///< time of the first picture in the file's own count
    int64_t lastVideoMs_ = 0;
    int64_t lastAudioMs_ = 0;
    bool primed_ = false;  ///< a key picture has been seen since the last jump
    int damaged_ = 0;      ///< packets in a row that could not be used
    std::deque<MediaPacket> pending_;
};

}  // namespace vms
