#pragma once

#include <string>
#include <string_view>

namespace vms::host {

/// The session's key in a Cookie header, "" = there is none. @param header as it came
std::string SessionKeyIn(std::string_view header);

/// The value of a Set-Cookie header. @param key "" = forget it
/// @param isSecure the browser is to send it over TLS only
std::string SessionCookie(const std::string& key, bool isSecure);

}  // namespace vms::host
