#include "drivers/common/FamilyEntry.h"
#include "drivers/mediafile/MediaFileFactory.h"

VMS_DEVICE_FAMILY(vms::mediafile::MediaFileFactory)
