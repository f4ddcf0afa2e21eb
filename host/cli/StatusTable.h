#pragma once

#include <json/value.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/config/HostConfig.h"
#include "host/status/StatusFeed.h"

namespace vms::host {

/// Status reports as lines for a person; remembers each device's state to mark what has changed.
class StatusTable {
public:
    /// @param config gives the devices' names
    explicit StatusTable(const HostConfig& config);

    /// One line per device of the report: time, "*" where its state changed since the last report,
    /// state, identifier, name. A report without devices gives one line that says so.
    /// @param time shown first
    /// @return no line at all for a report that is not one
    std::vector<std::string> Rows(const StatusReport& report, const std::string& time);

private:
    std::string Row(const std::string& module, const Json::Value& device);

    std::map<std::string, std::string> names_;                           ///< by device identifier
    std::map<std::pair<std::string, std::string>, std::string> states_;  ///< by module and device
};

}  // namespace vms::host
