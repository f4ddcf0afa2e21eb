#include "host/auth/SessionCookie.h"

#include <algorithm>

#include "host/auth/Accounts.h"

namespace vms::host {
namespace {

constexpr std::string_view kName = "vms_session";
constexpr size_t kLongestKey = 128;

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

}  // namespace

std::string SessionKeyIn(std::string_view header) {
    for (size_t at = 0; at <= header.size();) {
        const size_t next = std::min(header.find(';', at), header.size());
        const std::string_view pair = header.substr(at, next - at);
        const size_t equals = pair.find('=');
        if (equals != pair.npos && Trimmed(pair.substr(0, equals)) == kName) {
            const std::string_view key = Trimmed(pair.substr(equals + 1));
            return key.size() <= kLongestKey ? std::string(key) : std::string();
        }
        at = next + 1;
    }
    return {};
}

std::string SessionCookie(const std::string& key, bool isSecure) {
    const int64_t seconds = key.empty() ? 0 : Accounts::kLongest;
    return std::string(kName) + "=" + key +
           "; Path=/; HttpOnly; SameSite=Strict; Max-Age=" + std::to_string(seconds) +
           (isSecure ? "; Secure" : "");
}

}  // namespace vms::host
