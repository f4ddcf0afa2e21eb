#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sim/onvif/Camera.h"
#include "sim/soap/SoapRequest.h"
#include "sim/xml/XmlWriter.h"

namespace vms::sim {

/// One call while it is being answered.
struct ServiceCall {
    const Camera& camera;
    const SoapRequest& request;
    const std::string& host;  ///< the camera's address as the client reached it
    XmlWriter& out;           ///< positioned inside the SOAP body

    const FaultRule* Fault(vms::sim::Fault fault) const {
        return camera.faults().Find(fault, request.operation().local);
    }
};

enum class Login { kNeeded, kOptional, kNotNeeded };

struct Operation {
    std::string_view space;
    std::string_view name;
    Login login;
    /// Writes the response element. @throws SoapFault
    void (*handler)(ServiceCall&);
};

const std::vector<Operation>& DeviceOperations();
const std::vector<Operation>& MediaOperations();

/// Writes an address as element text the way the personality does.
void WriteUri(ServiceCall& call, std::string_view space, std::string_view element,
              const std::string& uri);

}  // namespace vms::sim
