#pragma once

#include <concepts>

#include "module/Export.h"

/// Whether this host stores the most significant byte first; found out when the library is loaded.
extern VMS_DEVICEACCESS_API bool g_hostIsBigEndian;

/// The value of a little-endian field of 8, 16 or 32 bits that was copied into `field` byte by
/// byte. Re-entrant.
template <std::unsigned_integral T>
requires(sizeof(T) <= 4) T le2host(T field) {
    if constexpr (sizeof(T) == 2)
        return g_hostIsBigEndian ? __builtin_bswap16(field) : field;
    else if constexpr (sizeof(T) == 4)
        return g_hostIsBigEndian ? __builtin_bswap32(field) : field;
    else
        return field;
}
