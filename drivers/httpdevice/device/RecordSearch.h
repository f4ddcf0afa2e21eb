#pragma once

#include <list>
#include <set>

#include "drivers/httpdevice/device/DeviceProfile.h"
#include "module/RecordSearchRecords.h"

namespace vms::httpdevice {

/// Finds every recording of a range. A device answers with 4,000 at most, so the search goes on
/// behind the last one until an answer is shorter. Blocks for one request per 4,000 recordings, for
/// little more than a minute in all.
/// @param query an endTime of 0 is none
/// @return false, with nothing appended, when the device fails on the way, breaks that limit, or
/// has
///         100,000 recordings or more: a shorter range is to be asked for then
bool FindRecords(DeviceConnection& device, const DeviceProfile& profile,
                 const __tagTvSearchRecordParam& query, std::list<__tagTvRecordFile>& files);

/// The days (UTC, yyyymmdd) on which something of the recordings lies in the range.
std::set<int> DaysOf(const std::list<__tagTvRecordFile>& files, int startTime, int endTime);

}  // namespace vms::httpdevice
