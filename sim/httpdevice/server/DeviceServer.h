#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "sim/httpdevice/Device.h"

namespace vms::sim::httpdevice {

/// The sockets of all devices on a few shared threads.
class DeviceServer {
public:
    struct Ports {
        uint16_t http = 0;
        uint16_t https = 0;  ///< 0 = none
    };

    /// Makes a certificate for all devices.
    explicit DeviceServer(unsigned threads);
    ~DeviceServer();
    DeviceServer(const DeviceServer&) = delete;
    DeviceServer& operator=(const DeviceServer&) = delete;

    /// Opens the ports of a device, which must outlive the server; it is the next in number.
    /// @throws std::runtime_error when an address cannot be bound
    Ports Open(Device& device);
    /// @throws std::runtime_error when a device cannot listen
    void Start();
    /// Ends the threads; open connections are dropped on destruction.
    void Stop();

    // Any thread, while the server runs; `device` is a number in the order of Open().

    /// Closes every connection of a device.
    void DropConnections(size_t device);
    /// Brings the listeners in line with the faults of the device. Returns when it is done.
    /// @return false when it failed or took more than five seconds
    bool Refresh(size_t device);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace vms::sim::httpdevice
