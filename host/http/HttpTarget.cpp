#include "host/http/HttpTarget.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "host/http/HttpText.h"

namespace vms::host {
namespace {

/// More names than this in one query are no request of ours.
constexpr size_t kMostQueryNames = 256;

bool IsControl(char byte) {
    return static_cast<unsigned char>(byte) < ' ' || byte == '\x7f';
}

std::optional<std::string> Decoded(std::string_view text, bool plusIsBlank) {
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            unsigned char byte = 0;
            const char* digits = text.data() + i + 1;
            if (i + 2 >= text.size() ||
                std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2 || byte == 0)
                return std::nullopt;
            decoded += static_cast<char>(byte);
            i += 2;
        } else if (IsControl(text[i])) {
            return std::nullopt;
        } else {
            decoded += plusIsBlank && text[i] == '+' ? ' ' : text[i];
        }
    }
    return decoded;
}

/// @param path begins with "/"
bool ReadPath(std::string_view path, HttpRequest& request) {
    request.path.clear();
    request.segments.clear();
    for (size_t at = 0; at != std::string_view::npos;) {
        const size_t next = path.find('/', at + 1);
        const auto segment =
            Decoded(path.substr(at + 1, next == path.npos ? next : next - at - 1), false);
        if (!segment || *segment == "." || *segment == "..")
            return false;
        request.path += "/" + *segment;
        request.segments.push_back(*segment);
        at = next;
    }
    return true;
}

bool ReadPair(std::string_view pair, HttpRequest& request) {
    const size_t equals = pair.find('=');
    const auto name = Decoded(pair.substr(0, equals), true);
    const auto value =
        Decoded(equals == pair.npos ? std::string_view() : pair.substr(equals + 1), true);
    if (!name || !value)
        return false;
    if (!name->empty())
        request.query.emplace(*name, *value);
    return request.query.size() <= kMostQueryNames;
}

/// @param query without its "?"
bool ReadQuery(std::string_view query, HttpRequest& request) {
    request.query.clear();
    for (size_t at = 0; at <= query.size();) {
        const size_t next = std::min(query.find('&', at), query.size());
        if (!ReadPair(query.substr(at, next - at), request))
            return false;
        at = next + 1;
    }
    return true;
}

/// Takes "http://host" off an absolute target. @return false when it is something else
bool TakeHost(std::string_view& target, HttpRequest& request) {
    const size_t colon = target.find("://");
    if (colon == target.npos || (!SameLetters(target.substr(0, colon), "http") &&
                                 !SameLetters(target.substr(0, colon), "https")))
        return false;
    target.remove_prefix(colon + 3);
    const size_t end = std::min(target.find_first_of("/?#"), target.size());
    request.host = target.substr(0, end);
    target.remove_prefix(end);
    return !request.host.empty() && IsHttpHost(request.host);
}

}  // namespace

bool ReadHttpTarget(std::string_view target, HttpRequest& request) {
    if (target.empty() || target.find('#') != target.npos)
        return false;
    if (target.front() != '/' && !TakeHost(target, request))
        return false;
    const size_t mark = std::min(target.find('?'), target.size());
    const std::string_view path = target.substr(0, mark);
    return ReadPath(path.empty() ? "/" : path, request) &&
           ReadQuery(mark == target.size() ? std::string_view() : target.substr(mark + 1), request);
}

bool IsHttpHost(std::string_view host) {
    return std::none_of(host.begin(), host.end(), [](char letter) {
        return IsControl(letter) ||
               std::string_view(" ,/?#@\\\"<>").find(letter) != std::string_view::npos;
    });
}

}  // namespace vms::host
