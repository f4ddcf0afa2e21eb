#include "host/modules/CommandId.h"

#include <charconv>

namespace vms::host {

std::optional<int32_t> ParseCommandId(const std::string& text) {
    const bool hexadecimal = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
    const char* digits = text.data() + (hexadecimal ? 2 : 0);
    const char* end = text.data() + text.size();
    int32_t id = 0;
    const auto [stop, error] = std::from_chars(digits, end, id, hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end || id <= 0)
        return std::nullopt;
    return id;
}

}  // namespace vms::host
