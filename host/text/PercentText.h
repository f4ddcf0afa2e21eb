#pragma once

#include <string>
#include <string_view>

namespace vms::host {

/// A text as one segment of a path or one value of a query: every byte that is not a letter, a
/// digit or one of "-._~" as %XX (RFC 3986, 2.1 and 2.3). Re-entrant.
std::string PercentEncode(std::string_view text);

}  // namespace vms::host
