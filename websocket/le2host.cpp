#include "websocket/le2host.h"

#include <bit>

bool g_hostIsBigEndian = std::endian::native == std::endian::big;
