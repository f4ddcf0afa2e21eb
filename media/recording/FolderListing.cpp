#include "media/recording/FolderListing.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "media/recording/RecordingName.h"

namespace fs = std::filesystem;

namespace vms {
namespace {

constexpr const char* kTalkFolder = "talk";

bool IsChannelFolder(const fs::directory_entry& entry) {
    std::error_code error;
    const std::string name = entry.path().filename().string();
    return name[0] != '.' && name != kTalkFolder && entry.is_directory(error);
}

/// Orders numbers within names by value. strverscmp does, but for leading zeros; equal names cannot
/// occur in a folder.
bool NaturalLess(const fs::path& left, const fs::path& right) {
    return strverscmp(left.filename().c_str(), right.filename().c_str()) < 0;
}

bool IsByName(const ListedRecording& left, const ListedRecording& right) {
    return left.name < right.name;
}

/// Everything but links has the folder's own place.
bool Stays(const fs::directory_entry& entry, const ContentRoots& roots) {
    std::error_code error;
    return !entry.is_symlink(error) || roots.Admit(entry.path());
}

/// Calls `visit` with each entry of a folder; one that cannot be read has none.
template <class Visit>
void ForEachEntry(const fs::path& folder, Visit visit) {
    std::error_code error;
    for (fs::directory_iterator i(folder, error), end; !error && i != end; i.increment(error))
        visit(*i);
}

void KeepNewest(RecordingListing& listing) {
    if (listing.size() <= kMaxListed)
        return;
    const auto from = listing.end() - static_cast<std::ptrdiff_t>(kMaxListed);
    std::nth_element(listing.begin(), from, listing.end(), IsByName);
    listing.erase(listing.begin(), from);
}

}  // namespace

std::vector<fs::path> ListChannelFolders(const fs::path& device, const ContentRoots& roots) {
    std::error_code error;
    if (!fs::is_directory(device, error) || !roots.Admit(device))
        return {};
    std::vector<fs::path> folders;
    bool any = false;
    ForEachEntry(device, [&](const fs::directory_entry& entry) {
        if (!IsChannelFolder(entry))
            return;
        any = true;
        if (Stays(entry, roots))
            folders.push_back(entry.path());
    });
    if (!any)
        return {device};
    std::sort(folders.begin(), folders.end(), NaturalLess);
    return folders;
}

RecordingListing ListRecordings(const fs::path& folder, const ContentRoots& roots) {
    RecordingListing listing;
    ForEachEntry(folder, [&](const fs::directory_entry& entry) {
        std::string name = entry.path().filename().string();
        const std::optional<RecordingName> told = ParseRecordingName(name);
        std::error_code error;
        if (!told || !entry.is_regular_file(error) || !Stays(entry, roots))
            return;
        listing.push_back({std::move(name), told->startMs, told->fileType, false, {}, {}});
        if (listing.size() >= 2 * kMaxListed)
            KeepNewest(listing);
    });
    KeepNewest(listing);
    std::sort(listing.begin(), listing.end(), IsByName);
    return listing;
}

}  // namespace vms
