#pragma once

#include <json/value.h>

#include <string>
#include <vector>

namespace vms::host {

/// The members in which two objects differ, such as "http.port", in their order; only names, never
/// values.
std::vector<std::string> ChangedMembers(const Json::Value& one, const Json::Value& other);

}  // namespace vms::host
