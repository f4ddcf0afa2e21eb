#pragma once

#include <string_view>

namespace vms::host {

/// Whether a text is well-formed UTF-8 (RFC 3629): no surrogates, nothing longer than needed.
bool IsUtf8(std::string_view text);

}  // namespace vms::host
