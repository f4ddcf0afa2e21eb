#pragma once

#include <gst/rtsp-server/rtsp-server.h>

#include "sim/rtsp/CameraDirectory.h"

namespace vms::sim {

inline constexpr const char* kViewerRole = "viewer";

/// Login for RTSP in which every camera has its own user: cameras may share a user name and differ
/// in the password. `directory` must outlive the object.
/// @param basic Basic is accepted besides Digest
GstRTSPAuth* NewCameraAuth(const CameraDirectory& directory, bool basic);

}  // namespace vms::sim
