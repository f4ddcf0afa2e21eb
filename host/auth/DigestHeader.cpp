#include "host/auth/DigestHeader.h"

#include <algorithm>
#include <utility>

#include "host/http/HttpText.h"

namespace vms::host {
namespace {

constexpr std::string_view kScheme = "Digest";
constexpr size_t kMostParameters = 32;

using Parameters = std::map<std::string, std::string>;

bool IsBlank(char letter) {
    return letter == ' ' || letter == '\t';
}

/// A letter of a token (RFC 7230, 3.2.6), and what players write into values without quotes.
bool IsTokenLetter(char letter) {
    return letter > ' ' && letter < '\x7f' && letter != ',' && letter != '"' && letter != '=';
}

/// Walks over the parameters once.
class Reading {
public:
    explicit Reading(std::string_view text) : text_(text) {}

    std::optional<Parameters> All() {
        Parameters parameters;
        for (;;) {
            Skip([](char letter) { return IsBlank(letter) || letter == ','; });
            if (text_.empty())
                return parameters;
            const std::string name = LowerCase(Take(IsTokenLetter));
            Skip(IsBlank);
            if (name.empty() || text_.empty() || text_.front() != '=')
                return std::nullopt;
            text_.remove_prefix(1);
            Skip(IsBlank);
            auto value = Value();
            if (!value || !parameters.emplace(name, std::move(*value)).second ||
                parameters.size() > kMostParameters)
                return std::nullopt;
            Skip(IsBlank);
            if (!text_.empty() && text_.front() != ',')
                return std::nullopt;
        }
    }

private:
    template <class Is>
    std::string_view Take(Is is) {
        const auto end = std::find_if_not(text_.begin(), text_.end(), is);
        const std::string_view taken = text_.substr(0, static_cast<size_t>(end - text_.begin()));
        text_.remove_prefix(taken.size());
        return taken;
    }

    template <class Is>
    void Skip(Is is) {
        Take(is);
    }

    std::optional<std::string> Value() {
        if (text_.empty() || text_.front() != '"') {
            return std::string(
                Take([](char letter) { return IsTokenLetter(letter) || letter == '='; }));
        }
        std::string value;
        for (size_t at = 1; at < text_.size(); ++at) {
            if (text_[at] == '"') {
                text_.remove_prefix(at + 1);
                return value;
            }
            if (text_[at] == '\\' && ++at == text_.size())
                break;
            value += text_[at];
        }
        return std::nullopt;
    }

    std::string_view text_;
};

std::string UpperCase(std::string text) {
    for (char& letter : text) {
        if (letter >= 'a' && letter <= 'z')
            letter = static_cast<char>(letter - 'a' + 'A');
    }
    return text;
}

}  // namespace

std::optional<DigestHeader> ReadDigestHeader(std::string_view text) {
    if (text.size() > kLongestDigestHeader || text.size() <= kScheme.size() ||
        !SameLetters(text.substr(0, kScheme.size()), kScheme) || !IsBlank(text[kScheme.size()]))
        return std::nullopt;
    auto parameters = Reading(text.substr(kScheme.size())).All();
    if (!parameters)
        return std::nullopt;
    Parameters& all = *parameters;
    for (const char* const needed : {"username", "nonce", "uri", "response"}) {
        if (all[needed].empty())
            return std::nullopt;
    }
    const std::string algorithm = all["algorithm"].empty() ? "MD5" : all["algorithm"];
    return DigestHeader{.username = all["username"],
                        .realm = all["realm"],
                        .nonce = all["nonce"],
                        .uri = all["uri"],
                        .response = LowerCase(all["response"]),
                        .algorithm = UpperCase(algorithm),
                        .qop = all["qop"],
                        .cnonce = all["cnonce"],
                        .count = all["nc"]};
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\')
            quoted += '\\';
        quoted += letter;
    }
    return quoted + '"';
}

}  // namespace vms::host
