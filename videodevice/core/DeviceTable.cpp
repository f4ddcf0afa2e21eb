#include "videodevice/core/DeviceTable.h"

#include <utility>

#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/core/Guarded.h"

namespace vms {
namespace {

DeviceTable::Device CreateDriver(IVideoDeviceFactory& factory, __tagTvVideoParam& description) {
    DeviceTable::Device driver;
    Guarded("DevicesEnqueue", [&] { driver.reset(factory.CreateDevice(&description)); });
    return driver;
}

}  // namespace

DeviceTable::Device DeviceTable::Find(const std::string& id) const {
    MutexLock lock(deviceMutex_);
    const auto found = devices_.find(id);
    return found != devices_.end() ? found->second : nullptr;
}

DeviceTable::Devices DeviceTable::Copy() const {
    MutexLock lock(deviceMutex_);
    return devices_;
}

size_t DeviceTable::Replace(std::list<__tagTvVideoParam>& descriptions,
                            IVideoDeviceFactory& factory) {
    for (__tagTvVideoParam& description : descriptions) {
        Take(description.id).reset();
        MutexLock lock(deviceMutex_);
        devices_[description.id] = CreateDriver(factory, description);
    }
    MutexLock lock(deviceMutex_);
    return devices_.size();
}

DeviceTable::Device DeviceTable::Take(const std::string& id) {
    MutexLock lock(deviceMutex_);
    const auto found = devices_.find(id);
    return found != devices_.end() ? std::exchange(found->second, nullptr) : nullptr;
}

DeviceTable::Removal DeviceTable::Remove(const std::list<__tagTvVideoParam>& descriptions) {
    Removal removal;
    MutexLock lock(deviceMutex_);
    for (const __tagTvVideoParam& description : descriptions) {
        const auto found = devices_.find(description.id);
        if (found == devices_.end())
            continue;
        removal.drivers.push_back(std::move(found->second));
        devices_.erase(found);
    }
    removal.remaining = devices_.size();
    return removal;
}

DeviceTable::Devices DeviceTable::Clear() {
    MutexLock lock(deviceMutex_);
    return std::exchange(devices_, {});
}

}  // namespace vms
