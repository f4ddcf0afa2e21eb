#pragma once

#include <string>
#include <string_view>

namespace vms::host {

/// A log text in which whatever stands in the place of a password is "***". Places are the values
/// of JSON members and of name=value pairs whose name says so ("password", "token", ...), also
/// within JSON that is itself the text of a JSON string; the password of a URL's user information;
/// and headers such as Authorization and Cookie. Nothing else is changed, whatever the passwords
/// are.
///
/// A text that was cut is masked up to its end where a value has none. Re-entrant; takes time
/// linear in the length.
std::string MaskSecrets(std::string_view text);

}  // namespace vms::host
