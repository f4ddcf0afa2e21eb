#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

namespace vms::host {

/// Something that has happened, for whoever watches the host or looks back.
struct HostEvent {
    std::string type;    ///< such as "device-down"; lower case, digits and "-"
    std::string device;  ///< identifier, "" = of no device
    int channel = -1;    ///< from 0, -1 = of none
    Json::Value data;    ///< an object with whatever belongs to the type, or null; kept as text of
                         ///< at most EventLimits::dataBytes
};

/// One that is in the log.
struct LoggedEvent {
    int64_t id = 0;    ///< from 1 up, without holes as long as nothing is lost
    int64_t time = 0;  ///< ms since the epoch
    std::string type;
    std::string device;
    int channel = -1;
    std::string data;  ///< JSON of an object, "" = none
};

/// {"id", "time", "type", "device", "channel", "data"} on one line; what an event has not is left
/// out.
std::string EventJson(const LoggedEvent& event);

}  // namespace vms::host
