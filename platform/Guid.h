#pragma once

#include <string>

#include "platform/Export.h"

/// A random UUID (RFC 4122, version 4), lower case, 36 characters. Thread-safe.
VMS_PLATFORM_API std::string GetGuid();
