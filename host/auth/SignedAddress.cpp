#include "host/auth/SignedAddress.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "host/auth/Secrets.h"
#include "host/http/HttpTarget.h"
#include "host/http/HttpText.h"

namespace vms::host {
namespace {

constexpr char kExpires[] = "expires";
constexpr char kSignature[] = "signature";
constexpr std::array<std::string_view, 4> kStreams{"live", "play", "download", "stream"};

/// A text in which no separator of ours can be.
std::string Escaped(std::string_view text) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string escaped;
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        if (letter == '%' || letter == '/' || letter == '?' || letter == '&' || letter == '=') {
            escaped += '%';
            escaped += kDigits[byte >> 4];
            escaped += kDigits[byte & 15];
        } else {
            escaped += letter;
        }
    }
    return escaped;
}

/// One text for all ways of writing an address.
std::string Canonical(const HttpRequest& request) {
    std::string text = "1";
    for (const std::string& segment : request.segments)
        text += "/" + Escaped(segment);
    char separator = '?';
    for (const auto& [name, value] : request.query) {
        if (name == kSignature)
            continue;
        text += separator + Escaped(name) + "=" + Escaped(value);
        separator = '&';
    }
    return text;
}

}  // namespace

bool IsStreamPath(const HttpRequest& request) {
    return !request.segments.empty() &&
           std::find(kStreams.begin(), kStreams.end(), request.segments.front()) != kStreams.end();
}

std::string SignedAddress::SignatureOf(const HttpRequest& request) const {
    return Base64Url(HmacSha256(key_, Canonical(request)));
}

std::optional<std::string> SignedAddress::Sign(std::string_view target, int64_t expires) const {
    std::string text(target);
    HttpRequest request;
    if (!ReadHttpTarget(text, request) || !text.starts_with('/') || !IsStreamPath(request) ||
        request.query.count(kExpires) != 0 || request.query.count(kSignature) != 0)
        return std::nullopt;
    text += (text.find('?') == std::string::npos ? "?" : "&") + std::string(kExpires) + "=" +
            std::to_string(expires);
    request.query[kExpires] = std::to_string(expires);
    return text + "&" + kSignature + "=" + SignatureOf(request);
}

SignedAddress::Outcome SignedAddress::Check(const HttpRequest& request, int64_t now) const {
    const std::string whole = ValueIn(request.query, kSignature);
    if (whole.empty())
        return Outcome::kUnsigned;
    const std::string signature = whole.substr(0, whole.find('/'));
    if (!IsStreamPath(request) || !SameSecret(signature, SignatureOf(request)))
        return Outcome::kWrong;
    const std::string text = ValueIn(request.query, kExpires);
    int64_t expires = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), expires);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size())
        return Outcome::kWrong;
    return now < expires ? Outcome::kGood : Outcome::kExpired;
}

}  // namespace vms::host
