#include "videodevice/streams/SyncKey.h"

#include "videodevice/core/RequestText.h"

namespace vms {
namespace {

constexpr std::string_view kSeparator = "--";

}  // namespace

std::optional<SyncKey> SplitSyncKey(const std::string& key) {
    const size_t separator = key.find(kSeparator, 1);
    if (separator == std::string::npos)
        return std::nullopt;
    const char* const channel = key.c_str() + separator + kSeparator.size();
    return SyncKey{std::string_view(key).substr(0, separator), ParseDecimal(channel)};
}

std::string JoinSyncKey(const std::string& session, int channel) {
    return session + std::string(kSeparator) + std::to_string(channel);
}

}  // namespace vms
