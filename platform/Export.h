#pragma once

/// Marks what libvmsplatform.so offers; everything else in it is hidden.
#define VMS_PLATFORM_API __attribute__((visibility("default")))
