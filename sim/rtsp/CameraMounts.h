#pragma once

#include <gst/rtsp-server/rtsp-server.h>

#include "sim/rtsp/CameraDirectory.h"

namespace vms::sim {

/// Mount points on which the streams of all cameras lead to one factory per clip, mounted at "/"
/// and the clip's name. `directory` must outlive the object.
GstRTSPMountPoints* NewCameraMounts(const CameraDirectory& directory);

}  // namespace vms::sim
