#pragma once

#include <json/value.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/Export.h"

/// The one place where JSON text is read. Nothing here throws, whatever the input.
namespace vms {

/// Strict reading of a whole text; null counts as empty. On failure (also beyond the reader's depth
/// limit of 1,000) the value is null and the result false.
VMS_PLATFORM_API bool ParseJson(const char* text, Json::Value& value);

/// No fewer than the values a JSON text has, found without parsing it: every value but the first
/// stands behind one of three letters, and those within texts count too. For bounding what a text
/// of a stranger costs, since a value takes many times the memory of the two bytes that it stands
/// in.
inline size_t MostJsonValues(std::string_view json) {
    const auto separates = [](char c) { return c == ',' || c == '[' || c == '{'; };
    return 1 + static_cast<size_t>(std::count_if(json.begin(), json.end(), separates));
}

/// Element 0 of a non-empty array, null for an empty one, otherwise the value itself.
VMS_PLATFORM_API const Json::Value& FirstElement(const Json::Value& value);

/// Member of an object; a null value when `object` is not one or has no such member.
VMS_PLATFORM_API const Json::Value& Member(const Json::Value& object, const char* key);

/// Each takes the member only when it is present with that type, otherwise leaves `out` alone.
/// @return whether it was taken
VMS_PLATFORM_API bool ReadString(const Json::Value& object, const char* key, std::string& out);
VMS_PLATFORM_API bool ReadInt(const Json::Value& object, const char* key, int& out);
VMS_PLATFORM_API bool ReadInt16(const Json::Value& object, const char* key, short& out);
VMS_PLATFORM_API bool ReadBool(const Json::Value& object, const char* key, bool& out);

}  // namespace vms
