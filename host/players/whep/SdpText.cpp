#include "host/players/whep/SdpText.h"

#include <algorithm>
#include <charconv>

namespace vms::host {
namespace {

bool IsPlain(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char letter) {
        return (static_cast<unsigned char>(letter) < ' ' && letter != '\t') || letter == 0x7f;
    });
}

/// Takes the first line off.
std::string_view NextLine(std::string_view& text) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

/// Whether a line is "a=name" or "a=name:value".
bool IsAttribute(const SdpLine& line, std::string_view name) {
    return line.type == 'a' && line.value.substr(0, name.size()) == name &&
           (line.value.size() == name.size() || line.value[name.size()] == ':');
}

std::string_view ValueOf(const SdpLine& line, std::string_view name) {
    return line.value.substr(std::min(line.value.size(), name.size() + 1));
}

}  // namespace

bool SdpSection::Attribute(std::string_view name, std::string_view& value) const {
    for (const SdpLine& line : lines) {
        if (IsAttribute(line, name)) {
            value = ValueOf(line, name);
            return true;
        }
    }
    return false;
}

bool SdpSection::HasAttribute(std::string_view name) const {
    std::string_view value;
    return Attribute(name, value);
}

std::vector<std::string_view> SdpSection::Attributes(std::string_view name) const {
    std::vector<std::string_view> values;
    for (const SdpLine& line : lines) {
        if (IsAttribute(line, name))
            values.push_back(ValueOf(line, name));
    }
    return values;
}

bool ReadSdp(std::string_view text, std::vector<SdpSection>& sections) {
    sections.assign(1, {});
    if (text.substr(0, 3) != "v=0")
        return false;
    for (size_t count = 0; !text.empty(); ++count) {
        const std::string_view line = NextLine(text);
        if (line.empty() && text.empty())
            break;
        if (count == kMostSdpLines || line.size() < 2 || line[1] != '=' || !IsPlain(line))
            return false;
        if (line[0] == 'm')
            sections.emplace_back();
        sections.back().lines.push_back({line[0], line.substr(2)});
    }
    return true;
}

std::vector<std::string_view> Words(std::string_view text) {
    std::vector<std::string_view> words;
    while (!text.empty()) {
        const size_t end = std::min(text.find(' '), text.size());
        if (end > 0)
            words.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

int ReadSmallNumber(std::string_view text, int most) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    return isNumber && number >= 0 && number <= most ? number : -1;
}

}  // namespace vms::host
