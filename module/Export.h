#pragma once

/// Marks a class that sibling modules may use; everything else in libdeviceaccess is hidden.
#define VMS_DEVICEACCESS_API __attribute__((visibility("default")))
