// SOAP definitions of what this library reads and writes of the ONVIF Device and Media services
// (ver10) and of WS-Discovery (2005/04). Input of soapcpp2, not a C++ header.
//
// Elements and attributes that are not read are left out on purpose: what is not defined is skipped
// by the parser, so a camera's odd enumeration, duration or boolean cannot spoil an answer. Texts that
// are read are char*: those pass byte for byte (TextIn.cpp).

#import "stlvector.h"
#import "wsse.h"
#import "wsdd10.h"

//gsoap tt  schema namespace:   http://www.onvif.org/ver10/schema
//gsoap tt  schema elementForm: qualified
//gsoap tt  schema attributeForm: unqualified
//gsoap tds schema namespace:   http://www.onvif.org/ver10/device/wsdl
//gsoap tds schema form:        qualified
//gsoap trt schema namespace:   http://www.onvif.org/ver10/media/wsdl
//gsoap trt schema form:        qualified

enum tt__CapabilityCategory {
    tt__CapabilityCategory__All = 0,
    tt__CapabilityCategory__Analytics = 1,
    tt__CapabilityCategory__Device = 2,
    tt__CapabilityCategory__Events = 3,
    tt__CapabilityCategory__Imaging = 4,
    tt__CapabilityCategory__Media = 5,
    tt__CapabilityCategory__PTZ = 6
};

enum tt__StreamType {
    tt__StreamType__RTP_x002dUnicast = 0,
    tt__StreamType__RTP_x002dMulticast = 1
};

enum tt__TransportProtocol {
    tt__TransportProtocol__UDP = 0,
    tt__TransportProtocol__TCP = 1,
    tt__TransportProtocol__RTSP = 2,
    tt__TransportProtocol__HTTP = 3
};

class tt__MediaCapabilities {
    char* XAddr 1;
};

class tt__Capabilities {
    tt__MediaCapabilities* Media 0;
};

class tt__Profile {
    @std::string token 0;
};

class tt__Transport {
    enum tt__TransportProtocol Protocol 1;
};

class tt__StreamSetup {
    enum tt__StreamType Stream 1;
    tt__Transport* Transport 1;
};

class tt__MediaUri {
    char* Uri 1;
};

class _tds__GetCapabilities {
    std::vector<enum tt__CapabilityCategory> Category 0;
};

class _tds__GetCapabilitiesResponse {
    tt__Capabilities* Capabilities 0;
};

class _trt__GetProfiles {};

class _trt__GetProfilesResponse {
    std::vector<tt__Profile*> Profiles 0;
};

class _trt__GetStreamUri {
    tt__StreamSetup* StreamSetup 1;
    std::string ProfileToken 1;
};

class _trt__GetStreamUriResponse {
    tt__MediaUri* MediaUri 0;
};

//gsoap tds service name:                   DeviceBinding
//gsoap tds service namespace:              http://www.onvif.org/ver10/device/wsdl
//gsoap tds service transport:              http://schemas.xmlsoap.org/soap/http
//gsoap tds service method-protocol:        GetCapabilities SOAP
//gsoap tds service method-style:           GetCapabilities document
//gsoap tds service method-encoding:        GetCapabilities literal
//gsoap tds service method-input-action:    GetCapabilities http://www.onvif.org/ver10/device/wsdl/GetCapabilities
int __tds__GetCapabilities(_tds__GetCapabilities* tds__GetCapabilities,
                           _tds__GetCapabilitiesResponse& tds__GetCapabilitiesResponse);

//gsoap trt service name:                   MediaBinding
//gsoap trt service namespace:              http://www.onvif.org/ver10/media/wsdl
//gsoap trt service transport:              http://schemas.xmlsoap.org/soap/http
//gsoap trt service method-protocol:        GetProfiles SOAP
//gsoap trt service method-style:           GetProfiles document
//gsoap trt service method-encoding:        GetProfiles literal
//gsoap trt service method-input-action:    GetProfiles http://www.onvif.org/ver10/media/wsdl/GetProfiles
int __trt__GetProfiles(_trt__GetProfiles* trt__GetProfiles,
                       _trt__GetProfilesResponse& trt__GetProfilesResponse);

//gsoap trt service method-protocol:        GetStreamUri SOAP
//gsoap trt service method-style:           GetStreamUri document
//gsoap trt service method-encoding:        GetStreamUri literal
//gsoap trt service method-input-action:    GetStreamUri http://www.onvif.org/ver10/media/wsdl/GetStreamUri
int __trt__GetStreamUri(_trt__GetStreamUri* trt__GetStreamUri,
                        _trt__GetStreamUriResponse& trt__GetStreamUriResponse);
