#pragma once

#include <json/value.h>

#include <string>

namespace vms::host {

/// JSON on one line, without a line end, in plain ASCII whatever the texts hold.
std::string CompactJson(const Json::Value& value);

/// Reads a JSON file of at most 16 MiB; comments are allowed, duplicate keys are not.
/// @throws HostError naming the file and, for a syntax error, line and column
Json::Value ReadJsonFile(const std::string& path);

/// Reads a text file of at most 16 MiB. @throws HostError naming the file
std::string ReadTextFile(const std::string& path);

}  // namespace vms::host
