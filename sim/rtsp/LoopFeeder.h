#pragma once

#include <memory>

#include <gst/gst.h>

#include "sim/media/Clip.h"

namespace vms::sim {

/// Makes an appsrc deliver the clip over and over with timestamps that never jump. The element
/// keeps the clip alive.
void FeedInLoop(GstElement* appsrc, std::shared_ptr<const Clip> clip);

}  // namespace vms::sim
