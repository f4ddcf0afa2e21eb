#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "module/DeviceRecords.h"
#include "platform/Mutex.h"
#include "videodevice/IVideoDevice.h"

class IVideoDeviceFactory;

namespace vms {

/// The configured devices: owns their drivers together with the commands that run on them.
/// Thread-safe. Drivers are destroyed with no lock held.
class DeviceTable {
public:
    using Device = std::shared_ptr<IVideoDevice>;
    using Devices = std::map<std::string, Device>;

    /// The driver of a device; null when it is unknown or its factory gave none.
    Device Find(const std::string& id) const VMS_EXCLUDES(deviceMutex_);

    /// All entries, those without a driver included.
    Devices Copy() const VMS_EXCLUDES(deviceMutex_);

    /// Adds or replaces devices in list order. An old driver is let go of first, with the table
    /// unlocked: a device that takes a single login must be free for the new one. Until that is
    /// made, with the table locked, the device is unknown. @return number of entries afterwards
    size_t Replace(std::list<__tagTvVideoParam>& descriptions, IVideoDeviceFactory& factory)
        VMS_EXCLUDES(deviceMutex_);

    struct Removal {
        std::vector<Device> drivers;  ///< the table's references, for the caller to drop
        size_t remaining = 0;         ///< entries left
    };
    Removal Remove(const std::list<__tagTvVideoParam>& descriptions) VMS_EXCLUDES(deviceMutex_);

    /// Empties the table. @return its references, for the caller to drop
    Devices Clear() VMS_EXCLUDES(deviceMutex_);

private:
    /// The driver of a device; its entry stays, without one.
    Device Take(const std::string& id) VMS_EXCLUDES(deviceMutex_);

    mutable Mutex deviceMutex_;
    Devices devices_ VMS_GUARDED_BY(deviceMutex_);
};

}  // namespace vms
