#include "websocket/ClientText.h"

#include <json/value.h>

#include <algorithm>

#include "platform/IWebSocketClient.h"

namespace vms {

std::string AfterEqualsSign(std::string_view text) {
    return std::string(text.substr(text.find('=') + 1));  // npos + 1 is the beginning
}

std::string LoggableText(const char* data, int length) {
    constexpr int kMaxLength = 64 << 10;
    return std::string(data, static_cast<size_t>(std::min(length, kMaxLength)));
}

std::string SendRequest(IWebSocketClient& client, const Json::Value& request) {
    std::string text = request.toStyledString();
    client.Send(text.data(), static_cast<int>(text.size()));
    return text;
}

}  // namespace vms
