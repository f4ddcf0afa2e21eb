#pragma once

#include <optional>
#include <string>

namespace vms::host {

/// What can be typed while a stream plays.
struct PlayCommand {
    enum class Kind { kPause, kResume, kSpeed, kSeek, kTalk, kHush, kQuit };
    Kind kind;
    std::string argument;  ///< number or file, "" = none
};

/// Reads a line such as "seek 1700000000" or "talk hello.wav".
/// @return nothing when it is none of the commands
std::optional<PlayCommand> ParsePlayCommand(const std::string& line);

}  // namespace vms::host
