#pragma once

#include <string>

#include <json/value.h>

namespace vms::sim {

/// The value on one line, for machines that read line by line.
std::string JsonLine(const Json::Value& value);

}  // namespace vms::sim
