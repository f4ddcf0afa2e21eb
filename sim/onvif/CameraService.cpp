#include "sim/onvif/CameraService.h"

#include "sim/onvif/HostileBody.h"
#include "sim/onvif/SoapAnswer.h"
#include "sim/onvif/WireFault.h"
#include "sim/process/JsonLine.h"

namespace vms::sim {

namespace {

HttpAnswer Page(int status, const std::string& text) {
    HttpAnswer answer;
    answer.status = status;
    answer.contentType = "text/html";
    answer.body = "<html><body>" + text + "</body></html>";
    return answer;
}

WireAnswer Finished(const HttpAnswer& answer) {
    WireAnswer wire;
    wire.bytes = WriteAnswer(answer, HttpStyle{}, false);
    return wire;
}

bool IsSoapType(const std::string& contentType) {
    return contentType.rfind("application/soap+xml", 0) == 0 ||
           contentType.rfind("text/xml", 0) == 0;
}

const Operation* FindOperation(const std::string& path, const XmlName& name) {
    for (const Operation& operation :
         path == kDevicePath ? DeviceOperations() : MediaOperations()) {
        if (name.Is(operation.space, operation.name))
            return &operation;
    }
    return nullptr;
}

}  // namespace

WireAnswer CameraService::Handle(const HttpRequest& request) {
    if (request.target == "/devsim/stats")
        return Statistics();
    if (request.target != kDevicePath && request.target != camera_.MediaPath()) {
        camera_.stats().CountBadRequest();
        return Finished(Page(404, "no such page"));
    }
    if (request.method != "POST") {
        camera_.stats().CountBadRequest();
        return Finished(Page(405, "POST only"));
    }
    if (!IsSoapType(request.contentType)) {
        camera_.stats().CountBadRequest();
        return Finished(Page(415, "application/soap+xml only"));
    }
    return Soap(request);
}

WireAnswer CameraService::Soap(const HttpRequest& request) {
    try {
        const SoapRequest soap(request.body);
        const std::string& operation = soap.operation().local;
        camera_.stats().CountRequest(operation);
        const auto hostile = HostileAnswer(camera_, operation);
        const HttpAnswer answer = hostile ? *hostile : Respond(request, soap);
        return ToWire(camera_, operation, answer, request.keepAlive);
    } catch (const SoapFault& fault) {
        camera_.stats().CountBadRequest();
        return ToWire(camera_, "", Refuse("", fault), false);
    }
}

HttpAnswer CameraService::Respond(const HttpRequest& request, const SoapRequest& soap) {
    try {
        return Call(request, soap);
    } catch (const SoapFault& fault) {
        return Refuse(soap.operation().local, fault);
    }
}

HttpAnswer CameraService::Call(const HttpRequest& request, const SoapRequest& soap) {
    const std::string& name = soap.operation().local;
    const Operation* operation = FindOperation(request.target, soap.operation());
    if (operation == nullptr)
        throw SoapFault::ActionNotSupported(name);
    CheckLogin(*operation, soap);
    if (const FaultRule* rule = camera_.faults().Find(Fault::kSoapFaultAnswer, name))
        throw SoapFault(SoapFault::Code::kReceiver, {rule->value}, "The camera is out of order");
    HttpAnswer answer;
    answer.body = WriteEnvelope(camera_, name, [&](XmlWriter& out) {
        ServiceCall call{camera_, soap, request.localAddress, out};
        operation->handler(call);
    });
    return answer;
}

HttpAnswer CameraService::Refuse(const std::string& operation, const SoapFault& fault) {
    camera_.stats().CountFault();
    const Personality& personality = camera_.personality();
    const bool login = !fault.subcodes().empty() && fault.subcodes().front() == "NotAuthorized";
    HttpAnswer answer;
    answer.status = fault.code() == SoapFault::Code::kReceiver ? 500 : 400;
    if (login)
        answer.status = personality.authStatus;
    else if (personality.faultStatus != 0)
        answer.status = personality.faultStatus;
    answer.body = WriteFaultEnvelope(camera_, operation, fault);
    return answer;
}

void CameraService::CheckLogin(const Operation& operation, const SoapRequest& soap) {
    if (!camera_.NeedsLogin() || operation.login == Login::kNotNeeded)
        return;
    const bool mayBeMissing =
        operation.login == Login::kOptional && camera_.personality().openCapabilities;
    if (mayBeMissing && !soap.token())
        return;
    const auto result = camera_.verifier().Verify(soap.token(), camera_.Clock());
    if (result == TokenVerifier::Result::kAccepted)
        return;
    camera_.stats().CountAuthFailure(TokenVerifier::Name(result));
    throw SoapFault::NotAuthorized();
}

WireAnswer CameraService::Statistics() const {
    HttpAnswer answer;
    answer.contentType = "application/json";
    Json::Value json = camera_.stats().ToJson();
    json["index"] = Json::UInt64{camera_.config().index};
    answer.body = JsonLine(json) + "\n";
    return Finished(answer);
}

}  // namespace vms::sim
