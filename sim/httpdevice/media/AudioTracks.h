#pragma once

#include <optional>
#include <string>

#include "sim/httpdevice/media/Track.h"

namespace vms::sim::httpdevice {

/// The encodings of sound, with the codes that frames carry.
enum class AudioCodec { kALaw = 0x10, kMuLaw = 0x11, kAac = 0x15 };

/// "PCMA", "PCMU", "AAC".
const char* NameOf(AudioCodec codec);
/// The number that clients use when they ask for talk: 1, 2, 0x15.
int TalkCode(AudioCodec codec);
std::optional<AudioCodec> FromTalkCode(int code);
int SampleRate(AudioCodec codec);

/// Four seconds of a tone that rises and falls, encoded.
/// @throws std::runtime_error when there is no AAC encoder
SharedTrack MakeAudioTrack(AudioCodec codec);

/// G.711 of one sample.
unsigned char ToALaw(int sample);
unsigned char ToMuLaw(int sample);

}  // namespace vms::sim::httpdevice
