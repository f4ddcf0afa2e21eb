#include "drivers/httpdevice/device/RecordSearch.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <limits>
#include <vector>

#include "deviceapi/Tavero_Http_Encode.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;
using Files = std::list<__tagTvRecordFile>;

constexpr size_t kMaxRecords = 100'000;
constexpr std::chrono::seconds kMaxTime{60};
constexpr int kDaySeconds = 86'400;
constexpr int kEndOfTime = std::numeric_limits<int32_t>::max();

/// @return false when the device fails
bool AskOnce(DeviceConnection& device, const DeviceProfile& profile,
             const __tagTvSearchRecordParam& query, int startTime, int endTime, Files& files) {
    const std::string body =
        profile.recorder ? Api::GetSearchRecordRequestData_Nvr(query.channel, query.streamNo,
                                                               query.fileType, startTime, endTime)
                         : Api::GetSearchRecordRequestData_Ipc(query.fileType, startTime, endTime);
    const auto read =
        profile.recorder ? &Api::DeSerializeSearchRecord_Nvr : &Api::DeSerializeSearchRecord_Ipc;
    return device.Call(device.Address().Url(&Api::GetUrlSearchRecord), body,
                       [&](const std::string& answer) {
                           return read(answer.c_str(), files) == 0 && files.size() <= kMaxItems;
                       });
}

int DayNumber(int day) {
    const std::time_t seconds = std::time_t{day} * kDaySeconds;
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    return (utc.tm_year + 1900) * 10'000 + (utc.tm_mon + 1) * 100 + utc.tm_mday;
}

int OpenEnd(int endTime) {
    return endTime == 0 ? kEndOfTime : endTime;
}

void Renumber(Files& files) {
    int index = 0;
    for (__tagTvRecordFile& file : files)
        file.index = index++;
}

}  // namespace

bool FindRecords(DeviceConnection& device, const DeviceProfile& profile,
                 const __tagTvSearchRecordParam& query, Files& files) {
    const int endTime = OpenEnd(query.endTime);
    int startTime = query.startTime;
    const auto deadline = std::chrono::steady_clock::now() + kMaxTime;
    Files found;
    while (found.size() < kMaxRecords && std::chrono::steady_clock::now() < deadline) {
        Files more;
        if (!AskOnce(device, profile, query, startTime, endTime, more))
            return false;
        const bool full = more.size() == kMaxItems;
        const int next = full ? more.back().endTime : startTime;
        found.splice(found.end(), more);
        if (full && next <= startTime)
            break;
        startTime = next;
        if (full && startTime < endTime)
            continue;
        Renumber(found);
        files.splice(files.end(), found);
        return true;
    }
    VMS_LOG(2, "HttpDevice", "%s: more recordings than can be listed, %zu so far",
            device.Address().Label().c_str(), found.size());
    return false;
}

std::set<int> DaysOf(const Files& files, int startTime, int endTime) {
    // Recordings that begin less those that have ended, day by day since the epoch: one that claims
    // to last for ever costs no more than another.
    std::vector<int> changes(kEndOfTime / kDaySeconds + 2);
    for (const __tagTvRecordFile& file : files) {
        const int begin = std::max({file.startTime, startTime, 0});
        const int end = std::min(file.endTime, OpenEnd(endTime));
        if (begin >= end)
            continue;
        ++changes[static_cast<size_t>(begin / kDaySeconds)];
        --changes[static_cast<size_t>((end - 1) / kDaySeconds) + 1];
    }
    std::set<int> dates;
    int running = 0;
    for (size_t day = 0; day < changes.size(); ++day) {
        running += changes[day];
        if (running > 0)
            dates.insert(DayNumber(static_cast<int>(day)));
    }
    return dates;
}

}  // namespace vms::httpdevice
