#include "onvif/OnvifImplement.h"

#include <locale>
#include <sstream>
#include <utility>

#include "module/LogSink.h"
#include "onvif/SoapSession.h"
#include "platform/ILogHandler.h"
#include "soapDeviceBindingProxy.h"
#include "soapMediaBindingProxy.h"
#include "wsseapi.h"

namespace {

constexpr int kReceiveTimeoutSeconds = 5;
constexpr int kSendTimeoutSeconds = 3;
constexpr int kConnectTimeoutSeconds = 3;

const char* OrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

std::string ServiceAddress(const char* ip, int port, const char* path) {
    return std::string("http://") + OrEmpty(ip) + ":" + std::to_string(port) + path;
}

/// A proxy for one exchange: bounded, signed, and gone with all SOAP memory at the end of a scope.
template <class Proxy>
class Exchange {
public:
    Exchange(OnvifImplement& onvif, std::string address, const char* username, const char* password)
        : address_(std::move(address)), proxy_(address_.c_str()) {
        vms::PrepareSoapContext(proxy_.soap);
        usable_ = vms::IsHttpAddress(address_) && vms::ApplySoapTls(proxy_.soap, address_) &&
                  onvif.InitSoapHeader(proxy_.soap, username, password) == 0;
    }
    ~Exchange() { proxy_.destroy(); }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    /// Runs one operation of the proxy. @return SOAP_OK or the SOAP error code
    template <class Request, class Response>
    int Call(int (Proxy::*operation)(Request*, Response&), Request& request, Response& response) {
        if (!usable_)
            return SOAP_TCP_ERROR;
        vms::SigpipeGuard guard;
        return (proxy_.*operation)(&request, response);
    }

    struct soap* Context() {
        return proxy_.soap;
    }

private:
    std::string address_;
    Proxy proxy_;
    bool usable_ = false;
};

}  // namespace

std::string OnvifImplement::Itostr(int value) {
    std::stringstream text;
    text.imbue(std::locale::classic());  // the host's may group digits
    text << value;
    return text.str();
}

std::string OnvifImplement::GetDeviceUri(const char* ip, int port) {
    return ServiceAddress(ip, port, "/onvif/device_service");
}

int OnvifImplement::InitSoapHeader(soap* context, const char* username, const char* password) {
    if (context == nullptr)
        return -1;
    soap_set_mode(context, SOAP_C_UTFSTRING);  // the caller may have made it plain
    soap_wsse_add_Security(context);
    context->recv_timeout = kReceiveTimeoutSeconds;
    context->send_timeout = kSendTimeoutSeconds;
    context->connect_timeout = kConnectTimeoutSeconds;
    soap_wsse_add_UsernameTokenDigest(context, nullptr, OrEmpty(username), OrEmpty(password));
    return 0;
}

std::string OnvifImplement::GetMediaUri(const char* ip, int port, const char* username,
                                        const char* password) {
    const std::string deviceUri = GetDeviceUri(ip, port);
    Exchange<DeviceBindingProxy> exchange(*this, deviceUri, username, password);
    _tds__GetCapabilities request;
    request.Category.push_back(tt__CapabilityCategory__All);
    _tds__GetCapabilitiesResponse response;

    const int error = exchange.Call(&DeviceBindingProxy::GetCapabilities, request, response);
    if (error != SOAP_OK) {
        VMS_LOG(1, "GetMediaUri", "[%s]:onvif GetCapabilities err: %d!\n", deviceUri.c_str(),
                error);
        return {};
    }
    if (response.Capabilities == nullptr) {
        VMS_LOG(1, "GetMediaUri", "[%s]:onvif Capabilities is null: %d!\n", deviceUri.c_str(),
                error);
        return {};
    }
    if (response.Capabilities->Media != nullptr)
        return OrEmpty(response.Capabilities->Media->XAddr);
    return ServiceAddress(ip, port, "/onvif/media_service");
}

std::string OnvifImplement::GetMediaToken(const std::string& mediaUri, const char* /*ip*/,
                                          int /*port*/, const char* username, const char* password,
                                          int index) {
    Exchange<MediaBindingProxy> exchange(*this, mediaUri, username, password);
    _trt__GetProfiles request;
    _trt__GetProfilesResponse response;
    // A failed exchange may leave profiles that were read before it failed: it counts as none.
    const bool answered =
        exchange.Call(&MediaBindingProxy::GetProfiles, request, response) == SOAP_OK;
    const bool inRange = index >= 0 && index < static_cast<int>(response.Profiles.size());
    if (!answered || !inRange || response.Profiles[index] == nullptr)
        return {};
    return response.Profiles[index]->token;
}

std::string OnvifImplement::GetStreamUri(const char* ip, int port, const char* username,
                                         const char* password, int index) {
    if (*OrEmpty(ip) == '\0' || port <= 0)
        return {};
    const std::string mediaUri = GetMediaUri(ip, port, username, password);
    if (mediaUri.empty())
        return {};

    tt__Transport transport;
    transport.Protocol = tt__TransportProtocol__RTSP;
    tt__StreamSetup setup;
    setup.Stream = tt__StreamType__RTP_x002dUnicast;
    setup.Transport = &transport;
    _trt__GetStreamUri request;
    request.StreamSetup = &setup;
    request.ProfileToken = GetMediaToken(mediaUri, ip, port, username, password, index);

    Exchange<MediaBindingProxy> exchange(*this, mediaUri, username, password);
    _trt__GetStreamUriResponse response;
    const int error = exchange.Call(&MediaBindingProxy::GetStreamUri, request, response);
    if (error != SOAP_OK || response.MediaUri == nullptr)
        return {};
    return OrEmpty(response.MediaUri->Uri);
}
