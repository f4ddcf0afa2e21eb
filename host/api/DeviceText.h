#pragma once

#include <json/value.h>

#include <string>

#include "host/modules/DeviceLists.h"

namespace vms::host {

/// A device as the API shows it: its description without the password, "module", "added" (whether
/// the API may change it) and "hasPassword".
Json::Value DeviceText(const KnownDevice& device);

/// Checks a description that has come over the API: as one of the configuration, with the bounds of
/// ApiFields for its texts. @return what is wrong, "" = nothing
std::string DescriptionProblem(const Json::Value& description);

/// The kind of devices that a module library is for: "mediafile" of libfamily_mediafile.so, "onvif"
/// of libdeviceaccess.so; else the file's name.
std::string KindOfLibrary(const std::string& library);

}  // namespace vms::host
