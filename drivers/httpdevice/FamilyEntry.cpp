#include "drivers/common/FamilyEntry.h"
#include "drivers/httpdevice/HttpDeviceFactory.h"

VMS_DEVICE_FAMILY(vms::httpdevice::HttpDeviceFactory)
