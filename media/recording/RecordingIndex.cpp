#include "media/recording/RecordingIndex.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <tuple>

#include "media/recording/RecordingName.h"

namespace fs = std::filesystem;

namespace vms {
namespace {

constexpr int64_t kDayMs = 24LL * 3600 * 1000;
constexpr const char* kTalkFolder = "talk";

/// What is asked for: [beginMs, endMs), endMs 0 = no end; types 0 = all.
struct Query {
    int64_t beginMs;
    int64_t endMs;
    int fileTypes;
};

/// Whether a file can match by its name alone; spares looking into the others.
bool MayMatch(const RecordingName& name, const Query& query) {
    return (query.fileTypes == 0 || (name.fileType & query.fileTypes) != 0) &&
           (query.endMs == 0 || name.startMs < query.endMs) &&
           name.startMs + kMaxRecordingMs > query.beginMs;
}

bool IsChannelFolder(const fs::directory_entry& entry) {
    std::error_code error;
    const std::string name = entry.path().filename().string();
    return entry.is_directory(error) && name[0] != '.' && name != kTalkFolder;
}

/// Orders numbers within names by value. strverscmp does, but for leading zeros; equal names cannot
/// occur in a folder.
bool NaturalLess(const fs::path& left, const fs::path& right) {
    return strverscmp(left.filename().c_str(), right.filename().c_str()) < 0;
}

std::optional<Recording> Inspect(const fs::path& path, const Query& query, ProbeCache& cache) {
    const std::optional<RecordingName> name = ParseRecordingName(path.filename().string());
    struct stat status {};
    if (!name || !MayMatch(*name, query) || ::stat(path.c_str(), &status) != 0 ||
        !S_ISREG(status.st_mode))
        return std::nullopt;
    const int64_t changed = status.st_mtim.tv_sec * int64_t{1'000'000'000} + status.st_mtim.tv_nsec;
    const std::optional<int64_t> duration = cache.DurationMs(path, changed, status.st_size);
    if (!duration || name->startMs + *duration <= query.beginMs)
        return std::nullopt;
    return Recording{path, name->fileType, name->startMs, name->startMs + *duration,
                     status.st_size};
}

/// Calls `visit` with each entry of a folder; one that cannot be read has none.
template <class Visit>
void ForEachEntry(const fs::path& folder, Visit visit) {
    std::error_code error;
    for (fs::directory_iterator i(folder, error), end; !error && i != end; i.increment(error))
        visit(*i);
}

}  // namespace

std::vector<fs::path> RecordingIndex::Channels() const {
    std::error_code error;
    if (!fs::is_directory(root_, error))
        return {};
    std::vector<fs::path> folders;
    ForEachEntry(root_, [&folders](const fs::directory_entry& entry) {
        if (IsChannelFolder(entry))
            folders.push_back(entry.path());
    });
    if (folders.empty())
        return {root_};
    std::sort(folders.begin(), folders.end(), NaturalLess);
    return folders;
}

bool RecordingIndex::HasChannel(int channel) const {
    return !ChannelFolder(channel).empty();
}

void RecordingIndex::RequireChannel(int channel) const {
    if (!HasChannel(channel))
        throw std::runtime_error("no channel " + std::to_string(channel) + " in \"" +
                                 root_.string() + "\"");
}

fs::path RecordingIndex::ChannelFolder(int channel) const {
    const std::vector<fs::path> folders = Channels();
    const auto index = static_cast<std::size_t>(channel);
    return channel >= 0 && index < folders.size() ? folders[index] : fs::path();
}

RecordingList RecordingIndex::Find(int channel, int64_t beginMs, int64_t endMs,
                                   int fileTypes) const {
    RecordingList found;
    const Query query{beginMs, endMs, fileTypes};
    ForEachEntry(ChannelFolder(channel), [&](const fs::directory_entry& entry) {
        if (const auto recording = Inspect(entry.path(), query, *cache_))
            found.push_back(*recording);
    });
    std::sort(found.begin(), found.end(), [](const Recording& left, const Recording& right) {
        return std::tie(left.startMs, left.path) < std::tie(right.startMs, right.path);
    });
    return found;
}

std::set<int> RecordingIndex::Days(int channel, int64_t beginMs, int64_t endMs,
                                   int fileTypes) const {
    std::set<int> days;
    for (const Recording& recording : Find(channel, beginMs, endMs, fileTypes)) {
        const int64_t from = std::max(recording.startMs, beginMs);
        const int64_t last = (endMs == 0 ? recording.endMs : std::min(recording.endMs, endMs)) - 1;
        for (int64_t day = from / kDayMs; day <= last / kDayMs; ++day)
            days.insert(DayNumber(day * kDayMs));
    }
    return days;
}

}  // namespace vms
