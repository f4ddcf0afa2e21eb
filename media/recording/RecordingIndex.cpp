#include "media/recording/RecordingIndex.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

#include "media/recording/RecordingName.h"

namespace fs = std::filesystem;

namespace vms {
namespace {

using Content = Knowledge::Content;

constexpr int64_t kDayMs = 24LL * 3600 * 1000;
/// How long a recording is taken to be that nothing else is known of.
constexpr int64_t kExpectedMs = 3600LL * 1000;
/// A file is looked into within a millisecond or two.
constexpr size_t kFew = 32;
constexpr std::chrono::milliseconds kFewTime{3000};
constexpr std::chrono::milliseconds kManyTime{50};
constexpr std::chrono::milliseconds kPlayTime{1000};

/// What is asked for: [beginMs, endMs), endMs 0 = no end; types 0 = all.
struct Query {
    int64_t beginMs;
    int64_t endMs;
    int fileTypes;
};

using Indices = std::vector<size_t>;

/// Whether a recording can match by its name alone; spares looking into the others.
bool MayMatch(const ListedRecording& recording, const Query& query) {
    return (query.fileTypes == 0 || (recording.fileType & query.fileTypes) != 0) &&
           (query.endMs == 0 || recording.startMs < query.endMs) &&
           recording.startMs + kMaxRecordingMs > query.beginMs;
}

/// Marks what a question is about. A file that has gone since is not.
void Mark(const fs::path& folder, RecordingListing& listing, const Query& query) {
    for (ListedRecording& recording : listing) {
        const auto version =
            MayMatch(recording, query) ? FileVersionOf(folder / recording.name) : std::nullopt;
        recording.asked = version.has_value();
        recording.version = version.value_or(FileVersion{});
    }
}

/// The recordings that start within [fromMs, toMs), are asked for and not known.
Indices Unknown(const RecordingListing& listing, int64_t fromMs, int64_t toMs) {
    Indices unknown;
    for (size_t i = 0; i < listing.size(); ++i) {
        const ListedRecording& recording = listing[i];
        if (recording.asked && recording.known.content == Content::kUnknown &&
            recording.startMs >= fromMs && recording.startMs < toMs)
            unknown.push_back(i);
    }
    return unknown;
}

/// The latest of those that may reach into the range, which their names do not tell.
Indices UnknownAtBegin(const RecordingListing& listing, const Query& query) {
    Indices unknown = Unknown(listing, INT64_MIN, query.beginMs);
    if (unknown.size() > kFew)
        unknown.erase(unknown.begin(), unknown.end() - static_cast<std::ptrdiff_t>(kFew));
    return unknown;
}

/// Start of the first recording that starts later than this one; `listing` is by start.
int64_t NextStart(const RecordingListing& listing, size_t index) {
    const int64_t startMs = listing[index].startMs;
    while (index < listing.size() && listing[index].startMs == startMs)
        ++index;
    return index < listing.size() ? listing[index].startMs : INT64_MAX;
}

int64_t EndOf(const RecordingListing& listing, size_t index) {
    const ListedRecording& recording = listing[index];
    if (recording.known.content == Content::kVideo)
        return recording.startMs + recording.known.durationMs;
    return std::min(recording.startMs + kExpectedMs, NextStart(listing, index));
}

RecordingList Collect(const fs::path& folder, const RecordingListing& listing, int64_t beginMs) {
    RecordingList found;
    for (size_t i = 0; i < listing.size(); ++i) {
        const ListedRecording& recording = listing[i];
        const int64_t endMs = EndOf(listing, i);
        if (!recording.asked || recording.known.content == Content::kNoVideo || endMs <= beginMs)
            continue;
        found.push_back({folder / recording.name, recording.fileType, recording.startMs, endMs,
                         recording.version.size, recording.known.content == Content::kVideo});
    }
    return found;
}

}  // namespace

RecordingIndex::RecordingIndex(fs::path root, std::shared_ptr<DurationIndex> durations,
                               std::shared_ptr<const ContentRoots> roots)
    : root_(std::move(root)), durations_(std::move(durations)), roots_(std::move(roots)) {}

std::vector<fs::path> RecordingIndex::Channels() const {
    return ListChannelFolders(root_, *roots_);
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
    const auto index = static_cast<size_t>(channel);
    return channel >= 0 && index < folders.size() ? folders[index] : fs::path();
}

RecordingList RecordingIndex::Find(int channel, int64_t beginMs, int64_t endMs,
                                   int fileTypes) const {
    const Query query{beginMs, endMs, fileTypes};
    const fs::path folder = ChannelFolder(channel);
    RecordingListing listing = ListRecordings(folder, *roots_);
    Mark(folder, listing, query);
    durations_->Learn(folder, listing);
    Indices unknown = UnknownAtBegin(listing, query);
    const Indices within = Unknown(listing, beginMs, INT64_MAX);
    const bool few = within.size() <= kFew;
    if (few)
        unknown.insert(unknown.end(), within.begin(), within.end());
    Await(folder, listing, unknown, few ? kFewTime : kManyTime);
    return Collect(folder, listing, beginMs);
}

RecordingList RecordingIndex::FindToPlay(int channel, int64_t beginMs, int64_t endMs,
                                         int fileTypes) const {
    const Query query{beginMs, endMs, fileTypes};
    const fs::path folder = ChannelFolder(channel);
    RecordingListing listing = ListRecordings(folder, *roots_);
    Mark(folder, listing, query);
    durations_->Learn(folder, listing);
    Await(folder, listing, UnknownAtBegin(listing, query), kPlayTime);
    return Collect(folder, listing, beginMs);
}

void RecordingIndex::Await(const fs::path& folder, RecordingListing& listing, const Indices& which,
                           std::chrono::milliseconds time) const {
    if (!which.empty())
        durations_->Await(folder, listing, which, DurationIndex::Clock::now() + time);
}

std::set<int> RecordingIndex::Days(int channel, int64_t beginMs, int64_t endMs,
                                   int fileTypes) const {
    const fs::path folder = ChannelFolder(channel);
    RecordingListing listing = ListRecordings(folder, *roots_);
    durations_->Learn(folder, listing);
    const Query query{beginMs, endMs, fileTypes};
    std::set<int> days;
    for (size_t i = 0; i < listing.size(); ++i) {
        if (!MayMatch(listing[i], query) || listing[i].known.content == Content::kNoVideo)
            continue;
        const int64_t from = std::max(listing[i].startMs, beginMs);
        const int64_t end = EndOf(listing, i);
        const int64_t last = (endMs == 0 ? end : std::min(end, endMs)) - 1;
        for (int64_t day = from / kDayMs; day <= last / kDayMs; ++day)
            days.insert(DayNumber(day * kDayMs));
    }
    return days;
}

}  // namespace vms
