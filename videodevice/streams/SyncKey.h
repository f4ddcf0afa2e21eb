#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vms {

/// Key under which a channel of a synchronous session reports: "<session key>--<channel>".
struct SyncKey {
    std::string_view session;  ///< points into the text that was split
    int channel = 0;
};

/// Splits at the first double hyphen that is not at the beginning; empty for any other key. Does
/// not allocate: asked for every media unit of a synchronous channel.
std::optional<SyncKey> SplitSyncKey(const std::string& key);

std::string JoinSyncKey(const std::string& session, int channel);

}  // namespace vms
