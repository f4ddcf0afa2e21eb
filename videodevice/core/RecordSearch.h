#pragma once

#include "module/CommandRecord.h"
#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/ModuleContext.h"

namespace vms {

/// Looks into a device's recordings.
class RecordSearch {
public:
    RecordSearch(ModuleContext& context, DeviceTable& devices)
        : context_(context), devices_(devices) {}

    /// The recordings of a channel in a time range; an unreadable body searches with the defaults.
    void SearchRecord(const __tagTvCommand* command);
    /// The days that hold recordings.
    void QueryRecordDate(const __tagTvCommand* command);

private:
    ModuleContext& context_;
    DeviceTable& devices_;
};

}  // namespace vms
