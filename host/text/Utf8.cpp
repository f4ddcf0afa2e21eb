#include "host/text/Utf8.h"

#include <iconv.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <string>

namespace vms::host {

/// By the C library's decoder, a piece at a time.
bool IsUtf8(std::string_view text) {
    const iconv_t decoder = iconv_open("UCS-4", "UTF-8");
    if (decoder == reinterpret_cast<iconv_t>(-1))
        throw std::runtime_error("the C library has no decoder for UTF-8");
    std::string copy(text);
    std::array<char, 1024> decoded{};
    char* from = copy.data();
    size_t left = copy.size();
    bool good = true;
    while (good && left > 0) {
        char* to = decoded.data();
        size_t room = decoded.size();
        good =
            iconv(decoder, &from, &left, &to, &room) != static_cast<size_t>(-1) || errno == E2BIG;
    }
    iconv_close(decoder);
    return good;
}

}  // namespace vms::host
