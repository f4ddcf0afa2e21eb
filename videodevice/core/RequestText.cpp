#include "videodevice/core/RequestText.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace vms {

int ParseDecimal(const char* text) {
    const long value = std::strtol(text, nullptr, 10);
    return static_cast<int>(
        std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

std::string DeviceOfSessionKey(const std::string& sessionKey) {
    return sessionKey.substr(0, sessionKey.rfind('-'));
}

}  // namespace vms
