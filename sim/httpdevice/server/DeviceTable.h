#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sim/httpdevice/Device.h"
#include "sim/httpdevice/server/DeviceServer.h"

namespace vms::sim::httpdevice {

/// All devices with the ports that they are reached on. Constant once made; the devices themselves
/// are safe from several threads.
struct DeviceTable {
    struct Entry {
        std::unique_ptr<Device> device;
        DeviceServer::Ports ports;
    };
    std::vector<Entry> entries;
};

}  // namespace vms::sim::httpdevice
