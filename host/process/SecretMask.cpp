#include "host/process/SecretMask.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <optional>

namespace vms::host {
namespace {

constexpr std::string_view kMask = "***";
constexpr size_t kLongestName = 128;    ///< bytes, escapes included
constexpr size_t kLongestLogin = 1024;  ///< bytes of a URL's user information

constexpr auto kNone = std::string_view::npos;

/// What is to be masked: [begin, end).
struct Range {
    size_t begin;
    size_t end;
};

bool IsSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_';
}

bool IsDigits(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Lower case, without what only separates words: "Set-Cookie" and "set_cookie" are one name.
std::string Folded(std::string_view name) {
    std::string folded;
    for (const char c : name) {
        if (c != '-' && c != '_')
            folded += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return folded;
}

bool IsSecretHeader(std::string_view name) {
    constexpr std::array<std::string_view, 6> kHeaders{
        "authorization", "proxyauthorization", "cookie", "setcookie", "xauthtoken", "xapikey"};
    return std::find(kHeaders.begin(), kHeaders.end(), Folded(name)) != kHeaders.end();
}

bool IsSecretName(std::string_view name) {
    constexpr std::array<std::string_view, 4> kParts{"password", "passwd", "passphrase", "secret"};
    constexpr std::array<std::string_view, 4> kEnds{"pwd", "token", "session", "signature"};
    constexpr std::array<std::string_view, 3> kWhole{"pass", "sessionid", "apikey"};
    const std::string folded = Folded(name);
    return IsSecretHeader(name) ||
           std::any_of(kParts.begin(), kParts.end(),
                       [&](auto part) { return folded.find(part) != kNone; }) ||
           std::any_of(kEnds.begin(), kEnds.end(),
                       [&](auto end) { return folded.ends_with(end); }) ||
           std::find(kWhole.begin(), kWhole.end(), folded) != kWhole.end();
}

/// A member's name with its \uXXXX spelt out, however often they have been escaped; others than
/// ASCII are in no name that matters.
std::string Unescaped(std::string_view name) {
    std::string plain;
    for (size_t at = 0; at < name.size();) {
        const size_t letter = name.find_first_not_of('\\', at);
        unsigned code = 0;
        const char* const digits = name.data() + letter + 1;
        if (letter != kNone && letter > at && name[letter] == 'u' && name.size() - letter > 4 &&
            std::from_chars(digits, digits + 4, code, 16).ptr == digits + 4) {
            plain += code < 0x80 ? static_cast<char>(code) : '?';
            at = letter + 5;
        } else {
            plain += name[at++];
        }
    }
    return plain;
}

/// Walks over a text once. A JSON text that has become a string of another, n times, has 2^n - 1
/// backslashes before each of its quotes: that is its depth.
class Masker {
public:
    explicit Masker(std::string_view text) : text_(text) {}

    std::string Run() const {
        std::string masked;
        size_t copied = 0;
        for (size_t at = 0; at < text_.size(); ++at) {
            const std::optional<Range> secret = SecretAt(at);
            if (!secret || secret->begin >= secret->end)
                continue;
            masked.append(text_, copied, secret->begin - copied).append(kMask);
            copied = secret->end;
            at = secret->end - 1;
        }
        return masked.append(text_, copied);
    }

private:
    std::optional<Range> SecretAt(size_t at) const {
        switch (text_[at]) {
            case '"':
                return MemberValue(at);
            case '=':
                return NamedValue(at);
            case ':':
                return text_.substr(at, 3) == "://" ? Login(at) : HeaderValue(at);
            default:
                return std::nullopt;
        }
    }

    char At(size_t at) const { return at < text_.size() ? text_[at] : '\0'; }

    /// Backslashes directly before a place.
    size_t BackslashesBefore(size_t at, size_t from = 0) const {
        size_t count = 0;
        while (at - count > from && text_[at - count - 1] == '\\')
            ++count;
        return count;
    }

    std::string_view WordBefore(size_t at) const {
        size_t begin = at;
        while (begin > 0 && at - begin < kLongestName && IsWord(text_[begin - 1]))
            --begin;
        return text_.substr(begin, at - begin);
    }

    /// Spaces and line ends, also those that have been escaped.
    size_t SkipSpace(size_t at) const {
        for (;;) {
            while (IsSpace(At(at)))
                ++at;
            const size_t letter = std::min(text_.find_first_not_of('\\', at), text_.size());
            if (letter == at || (At(letter) != 'n' && At(letter) != 'r' && At(letter) != 't'))
                return at;
            at = letter + 1;
        }
    }

    /// The value of the member whose name ends with this quote.
    std::optional<Range> MemberValue(size_t quote) const {
        const size_t colon = SkipSpace(quote + 1);
        if (At(colon) != ':')
            return std::nullopt;
        const size_t backslashes = BackslashesBefore(quote);
        const size_t end = quote - backslashes;
        const size_t opening = end > 0 ? text_.rfind('"', end - 1) : kNone;
        if (opening == kNone || end - opening > kLongestName ||
            BackslashesBefore(opening) != backslashes ||
            !IsSecretName(Unescaped(text_.substr(opening + 1, end - opening - 1))))
            return std::nullopt;
        return ValueAt(SkipSpace(colon + 1));
    }

    /// A value of JSON. One that cannot be a password is none.
    std::optional<Range> ValueAt(size_t at) const {
        if (const auto string = StringAt(at))
            return string;
        if (At(at) == '[' || At(at) == '{')
            return Range{at, NestedEnd(at)};
        const Range word = WordAt(at, ",]}\"\\ \t\r\n");
        const std::string_view text = text_.substr(word.begin, word.end - word.begin);
        if (text == "null" || text == "true" || text == "false")
            return std::nullopt;
        return word;
    }

    /// What follows the equals sign of a query's or a list's secret.
    std::optional<Range> NamedValue(size_t equals) const {
        if (!IsSecretName(WordBefore(equals)))
            return std::nullopt;
        const auto string = StringAt(equals + 1);
        return string ? string : WordAt(equals + 1, "&#<>\"\\ \t\r\n");
    }

    Range WordAt(size_t at, const char* stops) const {
        at = std::min(at, text_.size());
        return {at, std::min(text_.find_first_of(stops, at), text_.size())};
    }

    std::optional<Range> StringAt(size_t at) const {
        const size_t quote = text_.find_first_not_of('\\', at);
        if (quote == kNone || text_[quote] != '"')
            return std::nullopt;
        return Range{quote + 1, StringEnd(quote)};
    }

    /// Where the string's contents end that begin behind this quote.
    size_t StringEnd(size_t opening) const {
        const size_t depthMark = BackslashesBefore(opening);
        for (size_t quote = text_.find('"', opening + 1); quote != kNone;
             quote = text_.find('"', quote + 1)) {
            const size_t run = BackslashesBefore(quote, opening + 1);
            if (Closes(run, depthMark))
                return quote - std::min(run, depthMark);
        }
        return text_.size();
    }

    /// Whether a quote behind so many backslashes ends a string whose own quotes have `depthMark`:
    /// it does when it is none of the contents at that depth, or ends one of the strings around it.
    static bool Closes(size_t run, size_t depthMark) {
        for (; depthMark > 0; depthMark /= 2, run /= 2) {
            if (run % 2 == 0)
                return true;
        }
        return run % 2 == 0;
    }

    size_t NestedEnd(size_t at) const {
        size_t depth = 0;
        for (; at < text_.size(); ++at) {
            const char c = text_[at];
            if (c == '"')
                at = std::min(text_.find('"', StringEnd(at)), text_.size() - 1);
            else if (c == '[' || c == '{')
                ++depth;
            else if ((c == ']' || c == '}') && --depth == 0)
                return at + 1;
        }
        return text_.size();
    }

    /// Up to the end of the header's line, or of the string that begins with the header.
    std::optional<Range> HeaderValue(size_t colon) const {
        const std::string_view name = WordBefore(colon);
        if (name.empty() || !IsSecretHeader(name))
            return std::nullopt;
        const size_t first = colon - name.size();
        size_t begin = colon + 1;
        while (At(begin) == ' ' || At(begin) == '\t')
            ++begin;
        const bool quoted = first > 0 && text_[first - 1] == '"';
        const size_t last = quoted ? StringEnd(first - 1) : text_.size();
        size_t end = begin;
        while (end < last && !IsLineEnd(end))
            ++end;
        return Range{begin, end};
    }

    bool IsLineEnd(size_t at) const {
        const char c = text_[at];
        return c == '\r' || c == '\n' || (c == '\\' && (At(at + 1) == 'r' || At(at + 1) == 'n'));
    }

    /// The password in a URL. Logins of RTSP addresses may hold letters that should have been
    /// percent-encoded: then they seem to end early, at what cannot be a port or only looks like
    /// one.
    std::optional<Range> Login(size_t scheme) const {
        const size_t begin = scheme + 3;
        const std::string_view near = text_.substr(begin, kLongestLogin);
        const std::string_view all = near.substr(0, near.find_first_of(" \t\r\n<>"));
        const std::string_view authority = all.substr(0, all.find_first_of("/?#\"'\\"));
        const size_t colon = authority.find(':');
        if (colon == kNone || authority.front() == '[')
            return std::nullopt;
        size_t at = authority.rfind('@');
        if (at == kNone && !IsDigits(authority.substr(colon + 1)))
            at = all.find('@');
        else if (at == kNone && WordBefore(scheme).starts_with("rtsp"))
            at = all.substr(0, all.find('"')).find('@');
        if (at == kNone || at < colon)
            return std::nullopt;
        return Range{begin + colon + 1, begin + at};
    }

    const std::string_view text_;
};

}  // namespace

std::string MaskSecrets(std::string_view text) {
    return Masker(text).Run();
}

}  // namespace vms::host
