#include "host/http/HttpTarget.h"

#include <charconv>
#include <optional>

namespace vms {
namespace {

std::optional<std::string> Decoded(const std::string& text, bool plusIsBlank) {
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            unsigned char byte = 0;
            const char* digits = text.data() + i + 1;
            if (i + 2 >= text.size() ||
                std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2)
                return std::nullopt;
            decoded += static_cast<char>(byte);
            i += 2;
        } else {
            decoded += plusIsBlank && text[i] == '+' ? ' ' : text[i];
        }
    }
    return decoded;
}

bool ReadPair(const std::string& pair, HttpRequest& request) {
    const size_t equals = pair.find('=');
    const auto name = Decoded(pair.substr(0, equals), true);
    const auto value =
        Decoded(equals == std::string::npos ? std::string() : pair.substr(equals + 1), true);
    if (!name || !value)
        return false;
    if (!name->empty())
        request.query.emplace(*name, *value);
    return true;
}

}  // namespace

bool ReadHttpTarget(const std::string& target, HttpRequest& request) {
    if (target.empty() || target.front() != '/')
        return false;
    const size_t mark = target.find('?');
    const auto path = Decoded(target.substr(0, mark), false);
    if (!path)
        return false;
    request.path = *path;
    for (size_t at = mark; at != std::string::npos;) {
        const size_t next = target.find('&', at + 1);
        if (!ReadPair(target.substr(at + 1, next == std::string::npos ? next : next - at - 1),
                      request))
            return false;
        at = next;
    }
    return true;
}

}  // namespace vms
