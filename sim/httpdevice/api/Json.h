#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <json/value.h>

namespace vms::sim::httpdevice {

/// Strict JSON without anything behind it. @return nothing for anything else; never throws
std::optional<Json::Value> ParseJson(std::string_view text);

/// The member of an object; null when `object` is no object or lacks it.
const Json::Value& Member(const Json::Value& object, const char* key);

/// The text of a member, "" when it is none.
std::string Text(const Json::Value& object, const char* key);

/// The number of a member that must be an integer in [low, high]; `fallback` when it is absent.
/// @return nothing when it is something else
std::optional<int64_t> Number(const Json::Value& object, const char* key, int64_t low, int64_t high,
                              std::optional<int64_t> fallback = std::nullopt);

}  // namespace vms::sim::httpdevice
