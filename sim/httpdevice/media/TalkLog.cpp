#include "sim/httpdevice/media/TalkLog.h"

#include <algorithm>

namespace vms::sim::httpdevice {

namespace {

constexpr size_t kMaxKept = 16 * 1024 * 1024;

}  // namespace

void TalkLog::Begin(int channel) {
    MutexLock lock(mutex_);
    ++entries_[channel].sessions;
}

void TalkLog::Add(int channel, std::string_view payload) {
    MutexLock lock(mutex_);
    Entry& entry = entries_[channel];
    ++entry.frames;
    entry.payload.append(payload.substr(0, kMaxKept - std::min(kMaxKept, entry.payload.size())));
}

void TalkLog::Refuse(int channel) {
    MutexLock lock(mutex_);
    ++entries_[channel].refused;
}

std::map<int, TalkLog::Entry> TalkLog::Entries() const {
    MutexLock lock(mutex_);
    return entries_;
}

}  // namespace vms::sim::httpdevice
