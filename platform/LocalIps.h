#pragma once

#include <list>
#include <string>

#include "platform/Export.h"

/// Replaces `ips` by the host's IPv4 addresses, dotted, each once, in interface order: interfaces
/// that are up and multicast-capable; loopback only when there is nothing else. The environment
/// variable VMS_LOCAL_IPS (comma-separated) replaces the enumeration. Thread-safe.
VMS_PLATFORM_API void GetLocalIps(std::list<std::string>& ips);
