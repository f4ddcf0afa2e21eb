#pragma once

#include <string>

namespace vms::host {

/// Writes a line to standard output at once. @throws HostError when nobody can read it any more
void PrintLine(const std::string& line);

/// Writes "vmshost: " and a text to standard error.
void PrintError(const std::string& text);

}  // namespace vms::host
