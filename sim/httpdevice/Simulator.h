#pragma once

#include <ostream>
#include <string>

#include "sim/httpdevice/SimulatorOptions.h"
#include "sim/httpdevice/media/MediaLibrary.h"
#include "sim/httpdevice/server/ControlApi.h"
#include "sim/httpdevice/server/DeviceServer.h"
#include "sim/httpdevice/server/DeviceTable.h"
#include "sim/net/HttpServer.h"

namespace vms::sim::httpdevice {

/// All simulated devices of the process with their servers; they stop on destruction.
class Simulator {
public:
    /// @throws std::runtime_error when a port or the media is not to be had
    explicit Simulator(const SimulatorOptions& options);
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    /// One JSON line for each device and a last one that says that everything listens.
    void Announce(std::ostream& out) const;
    /// @throws std::runtime_error when the file cannot be written
    void WriteStats(const std::string& path) const;

private:
    const MediaLibrary library_;
    DeviceTable table_;
    DeviceServer server_;
    ControlApi controlApi_;
    ConnectionCounters controlCounters_;
    HttpServer control_;
    uint16_t controlPort_ = 0;
};

}  // namespace vms::sim::httpdevice
