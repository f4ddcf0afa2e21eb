#pragma once

#include <string>
#include <string_view>

#include "media/unit/MediaHeader.h"
#include "videodevice/IStreamCallback.h"

namespace vms {

/// Hands one unit of a live stream to its sink, a key picture twice: to be kept for players that
/// come later, and to be sent. Kept first: a player that comes between the two calls then sees this
/// picture twice, which is harmless, instead of pictures that build on one it has never seen.
/// @return what the sink says
inline int HandLiveUnit(IStreamCallback& sink, const std::string& key, char* data, int length) {
    MediaUnitHeader header;
    if (length > 0 && ReadMediaHeader({data, static_cast<size_t>(length)}, header) &&
        header.IsKeyPicture())
        sink.UpdateKeyFrame(key, data, length);
    return sink.SteramCallback(key, data, length);
}

}  // namespace vms
