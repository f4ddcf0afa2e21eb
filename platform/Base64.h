#pragma once

#include <string>

#include "platform/Export.h"

/// Base64 (RFC 4648, section 4) with padding, without line breaks. Thread-safe; null = empty.
/// @param length bytes
VMS_PLATFORM_API std::string base64_encode(const unsigned char* data, unsigned int length);
