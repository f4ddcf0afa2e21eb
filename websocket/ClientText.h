#pragma once

#include <json/forwards.h>

#include <string>
#include <string_view>

class IWebSocketClient;

namespace vms {

/// The part of `text` after its first "=", or the whole text.
std::string AfterEqualsSign(std::string_view text);

/// Bytes from the network as a log line may show them: the first 64 KiB.
std::string LoggableText(const char* data, int length);

/// Sends the styled text of a request. @return that text, for the log
std::string SendRequest(IWebSocketClient& client, const Json::Value& request);

}  // namespace vms
