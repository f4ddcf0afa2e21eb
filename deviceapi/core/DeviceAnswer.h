#pragma once

#include <string>

#include "deviceapi/core/JsonTree.h"

/// Reading of the answers that come from a device. Look-ups are case-sensitive.
namespace vms {

/// The answer's tree if the text is JSON (text behind it does not matter) and its "code" is the
/// number 0; otherwise null. A null text is no JSON.
JsonTree ParseAnswer(const char* text);

/// Member of an object; null if there is none, or if `object` is null or something else.
const cJSON* MemberOf(const cJSON* object, const char* key);

/// Each takes a member only when it is there with that type, otherwise leaves `out` alone.
/// @return whether it was taken
bool TakeText(const cJSON* object, const char* key, std::string& out);
/// A number, without its fraction, clamped to the range of int.
bool TakeNumber(const cJSON* object, const char* key, int& out);
/// A boolean, or a number: 0 is false.
bool TakeFlag(const cJSON* object, const char* key, bool& out);
/// The number that a text begins with, clamped to the range of int; no digits give 0.
bool TakeDecimal(const cJSON* object, const char* key, int& out);

}  // namespace vms
