#pragma once

#include <string>

#include "host/stream/PlayerRequest.h"
#include "module/CommandRecord.h"

namespace vms::host {

/// Reads a request, {"cmd": 1049088, "key": "...", "body": "..."}; "key" and "body" may be missing.
/// @return false for anything but an object with a whole number "cmd", and for more than 10,000
/// values
bool ReadPlayerRequest(const std::string& text, PlayerRequest& request);

/// The answer to a request: {"cmd", "key", "result"}; 0 = carried out, -1 = not.
std::string PlayerAnswer(const PlayerRequest& request, int result);

/// A message to a player: {"cmd", "key", "body"}; the record's device identifier holds the key.
std::string PlayerMessage(const __tagTvCommand& record);

/// Whether the request attaches the player to a stream, so that its key names what is played.
bool IsStartRequest(int32_t command);

}  // namespace vms::host
