#include "host/text/TerminalText.h"

#include <algorithm>
#include <charconv>

namespace vms::host {

std::string Printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
    return text;
}

std::string PercentDecoded(const std::string& text) {
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char byte = 0;
        if (text[i] == '%' && i + 2 < text.size()) {
            const char* digits = text.data() + i + 1;
            const auto [end, error] = std::from_chars(digits, digits + 2, byte, 16);
            if (error == std::errc() && end == digits + 2) {
                decoded += static_cast<char>(byte);
                i += 2;
                continue;
            }
        }
        decoded += text[i];
    }
    return decoded;
}

}  // namespace vms::host
