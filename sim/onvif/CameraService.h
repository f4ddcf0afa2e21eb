#pragma once

#include <string>

#include "sim/net/HttpMessage.h"
#include "sim/onvif/Camera.h"
#include "sim/onvif/Operation.h"
#include "sim/soap/SoapFault.h"

namespace vms::sim {

/// Answers the HTTP requests to one camera. Safe from several threads; never throws.
class CameraService {
public:
    explicit CameraService(Camera& camera) : camera_(camera) {}

    WireAnswer Handle(const HttpRequest& request);

private:
    WireAnswer Soap(const HttpRequest& request);
    HttpAnswer Respond(const HttpRequest& request, const SoapRequest& soap);
    HttpAnswer Call(const HttpRequest& request, const SoapRequest& soap);
    HttpAnswer Refuse(const std::string& operation, const SoapFault& fault);
    void CheckLogin(const Operation& operation, const SoapRequest& soap);
    WireAnswer Statistics() const;

    Camera& camera_;
};

}  // namespace vms::sim
