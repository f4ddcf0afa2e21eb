#pragma once

#include <json/value.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "host/config/HostConfig.h"
#include "host/process/LogSink.h"
#include "host/state/Database.h"

namespace vms::host {

/// The devices that have been added while a host ran, as far as its state keeps them. Thread-safe.
class AddedDevices {
public:
    struct Device {
        std::string module;
        Json::Value description;  ///< as in the configuration, its password included
    };

    /// Told the outcome on the state's thread, once: "" = it is kept, else why not. Must not wait.
    using Done = std::function<void(const std::string& problem)>;

    /// @param database must outlive this object
    explicit AddedDevices(Database& database) : database_(database) {}

    /// In the order of their identifiers. @throws HostError
    std::vector<Device> All();

    /// Keeps a device or its new description. Does not wait.
    void Keep(const Device& device, Done done);
    void Forget(const std::string& id, Done done);

private:
    Database& database_;
};

/// Puts added devices beside those of the configuration. One whose module is not configured is left
/// out, and so is an entry of the file with an added device's identifier: the log says so.
/// @return the identifiers of those that have been put in
std::set<std::string> PutIn(const std::vector<AddedDevices::Device>& added, HostConfig& config,
                            LogSink& log);

/// Leaves out what a configuration has under identifiers of added devices; the log says so.
void LeaveOut(const std::set<std::string>& added, HostConfig& config, LogSink& log);

}  // namespace vms::host
