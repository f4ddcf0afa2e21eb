#pragma once

#include <memory>

#include "videodevice/streams/ClientList.h"
#include "videodevice/streams/StreamInfo.h"

namespace vms {

/// What the media path takes from a table: references only, both null when there is no such stream.
struct StreamFeed {
    std::shared_ptr<StreamInfo> stream;
    ClientList::Snapshot clients;  ///< null when nobody is attached
};

}  // namespace vms
