#pragma once

#include <string>

#include "sim/httpdevice/server/DeviceServer.h"
#include "sim/httpdevice/server/DeviceTable.h"
#include "sim/net/HttpMessage.h"

namespace vms::sim::httpdevice {

/// The HTTP interface by which tests look into the devices and change their faults while they run.
class ControlApi {
public:
    /// Both must outlive it.
    ControlApi(DeviceTable& table, DeviceServer& server) : table_(table), server_(server) {}

    /// Any thread; waits for listeners to follow a changed fault.
    WireAnswer Handle(const HttpRequest& request);

private:
    struct Result {
        int status = 200;
        std::string body;
        const char* type = "application/json";
    };

    Result Route(const HttpRequest& request);
    Result OnDevice(const HttpRequest& request, size_t index, const std::string& what);
    Result ChangeFaults(size_t index, const std::string& body);
    Result TalkPayload(Device& device, const std::string& channel);

    DeviceTable& table_;
    DeviceServer& server_;
};

}  // namespace vms::sim::httpdevice
