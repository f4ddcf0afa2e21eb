#pragma once

#include <json/forwards.h>

#include <string>

namespace vms::httpdevice {

/// The "data" of an answer whose "code" is 0; null when it has none.
/// @return false when the code is another or there is none
bool ReadData(const std::string& answer, Json::Value& data);

}  // namespace vms::httpdevice
