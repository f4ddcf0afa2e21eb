#pragma once

#include <string>

#include "module/DeviceRecords.h"

namespace vms {

/// Bodies of the pages that answer a device search, styled JSON.
std::string SearchStartPage();
std::string SearchDevicePage(const __tagTvSearchDeviceParam& device);
std::string SearchEndPage();

}  // namespace vms
