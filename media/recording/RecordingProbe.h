#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace vms {

/// Length of a recording as its container tells it, otherwise from its first to its last picture,
/// for which it is read through, ten seconds at most. Re-entrant.
/// @param stop ends reading early, the result then means nothing
/// @return ms, from 1 to kMaxRecordingMs; nothing for a file without readable video, which is
/// logged
std::optional<int64_t> ProbeDuration(const std::filesystem::path& file,
                                     const std::atomic<bool>& stop);

}  // namespace vms
