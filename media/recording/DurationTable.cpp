#include "media/recording/DurationTable.h"

#include <algorithm>

namespace vms {
namespace {

bool IsKnown(const Knowledge& known) {
    return known.content != Knowledge::Content::kUnknown;
}

}  // namespace

bool DurationTable::Enter(const std::string& folder, RecordingListing& listing) {
    Folder& kept = folders_[folder];
    kept.listed = ++count_;
    size_ -= kept.entries.size();
    kept.entries = Merge(std::move(kept.entries), listing);
    if (kept.entries.size() > maxEntries_)
        kept.entries.erase(kept.entries.begin(),
                           kept.entries.end() - static_cast<std::ptrdiff_t>(maxEntries_));
    size_ += kept.entries.size();
    Queue(kept);
    MakeRoom(kept);
    const bool any = !kept.pending.empty();
    if (kept.entries.empty())
        folders_.erase(folder);
    return any;
}

std::vector<DurationTable::Entry> DurationTable::Merge(std::vector<Entry> before,
                                                       RecordingListing& listing) const {
    std::vector<Entry> merged;
    merged.reserve(listing.size());
    auto old = before.begin();
    for (ListedRecording& recording : listing) {
        while (old != before.end() && old->name < recording.name)
            ++old;
        const bool isOld = old != before.end() && old->name == recording.name;
        Entry& entry =
            merged.emplace_back(isOld ? std::move(*old++) : Entry{recording.name, {}, {}});
        if (recording.asked && entry.version != recording.version) {
            entry.version = recording.version;
            entry.known = {};
        }
        if (recording.asked && !IsKnown(entry.known))
            entry.asked = count_;
        recording.known = entry.known;
    }
    return merged;
}

void DurationTable::Queue(Folder& folder) {
    folder.pending.clear();
    for (size_t i = 0; i < folder.entries.size(); ++i) {
        if (!IsKnown(folder.entries[i].known))
            folder.pending.push_back(static_cast<uint32_t>(i));
    }
    std::stable_sort(folder.pending.begin(), folder.pending.end(),
                     [&entries = folder.entries](uint32_t left, uint32_t right) {
                         return entries[left].asked < entries[right].asked;
                     });
}

void DurationTable::MakeRoom(const Folder& newest) {
    while (size_ > maxEntries_) {
        const auto oldest = std::min_element(folders_.begin(), folders_.end(),
                                             [](const auto& left, const auto& right) {
                                                 return left.second.listed < right.second.listed;
                                             });
        if (&oldest->second == &newest)
            return;
        size_ -= oldest->second.entries.size();
        folders_.erase(oldest);
    }
}

void DurationTable::Hurry(const std::string& folder, const RecordingListing& listing,
                          const std::vector<size_t>& which) {
    ++count_;
    for (const size_t i : which) {
        Entry* entry = Find(folder, listing[i].name);
        if (entry == nullptr || IsKnown(entry->known))
            continue;
        entry->asked = count_;
        Folder& kept = folders_[folder];
        kept.pending.push_back(static_cast<uint32_t>(entry - kept.entries.data()));
    }
}

bool DurationTable::Recall(const std::string& folder, ListedRecording& recording) {
    const Entry* entry = Find(folder, recording.name);
    if (entry == nullptr)
        return true;
    recording.known = entry->known;
    return IsKnown(entry->known);
}

std::optional<DurationTable::Task> DurationTable::Next() {
    const auto rank = [](const Folder& folder) {
        return std::pair(folder.entries[folder.pending.back()].asked, folder.listed);
    };
    auto best = folders_.end();
    for (auto i = folders_.begin(); i != folders_.end(); ++i) {
        if (HasWork(i->second) && (best == folders_.end() || rank(i->second) > rank(best->second)))
            best = i;
    }
    if (best == folders_.end())
        return std::nullopt;
    Folder& folder = best->second;
    const Entry& entry = folder.entries[folder.pending.back()];
    folder.pending.pop_back();
    return Task{best->first, entry.name};
}

bool DurationTable::HasWork(Folder& folder) {
    while (!folder.pending.empty() && IsKnown(folder.entries[folder.pending.back()].known))
        folder.pending.pop_back();
    return !folder.pending.empty();
}

void DurationTable::Store(const Task& task, const FileVersion& version, const Knowledge& known) {
    Entry* entry = Find(task.folder, task.name);
    if (entry == nullptr)
        return;
    entry->version = version;
    entry->known = known;
}

/// Null when it is not kept.
DurationTable::Entry* DurationTable::Find(const std::string& folder, const std::string& name) {
    const auto kept = folders_.find(folder);
    if (kept == folders_.end())
        return nullptr;
    std::vector<Entry>& entries = kept->second.entries;
    const auto found = std::lower_bound(
        entries.begin(), entries.end(), name,
        [](const Entry& entry, const std::string& key) { return entry.name < key; });
    return found != entries.end() && found->name == name ? &*found : nullptr;
}

}  // namespace vms
