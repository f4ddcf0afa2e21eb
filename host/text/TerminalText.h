#pragma once

#include <string>

namespace vms::host {

/// Text from the network made safe for a terminal: every control character becomes '?'.
std::string Printable(std::string text);

/// Percent-encoding undone, as far as it is well formed; for display only.
std::string PercentDecoded(const std::string& text);

}  // namespace vms::host
