#include "host/text/PercentText.h"

namespace vms::host {

std::string PercentEncode(std::string_view text) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    static constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    std::string encoded;
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        if (kPlain.find(letter) != std::string_view::npos)
            encoded += letter;
        else
            encoded.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
    }
    return encoded;
}

}  // namespace vms::host
