#pragma once

#include <memory>

#include <gst/rtsp-server/rtsp-server.h>

#include "sim/media/Clip.h"

namespace vms::sim {

/// A media factory that gives every viewer the clip from its beginning, in a loop.
GstRTSPMediaFactory* NewClipFactory(std::shared_ptr<const Clip> clip);

}  // namespace vms::sim
