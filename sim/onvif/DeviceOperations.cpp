#include <ctime>

#include "sim/onvif/Operation.h"
#include "sim/onvif/Scopes.h"
#include "sim/soap/SoapFault.h"
#include "sim/xml/Namespaces.h"

namespace vms::sim {

namespace {

using ns::Device;
using ns::Schema;

std::string MediaXAddr(const ServiceCall& call) {
    if (const FaultRule* rule = call.Fault(Fault::kMediaXAddrJunk))
        return rule->value;
    return call.camera.ServiceUrl(call.host, call.camera.MediaPath());
}

void WriteNumber(XmlWriter& out, std::string_view element, int value) {
    out.Leaf(Schema, element, std::to_string(value));
}

void WriteClock(XmlWriter& out, const char* element, const std::tm& time) {
    XmlScope clock(out, Schema, element);
    {
        XmlScope part(out, Schema, "Time");
        WriteNumber(out, "Hour", time.tm_hour);
        WriteNumber(out, "Minute", time.tm_min);
        WriteNumber(out, "Second", time.tm_sec);
    }
    XmlScope part(out, Schema, "Date");
    WriteNumber(out, "Year", time.tm_year + 1900);
    WriteNumber(out, "Month", time.tm_mon + 1);
    WriteNumber(out, "Day", time.tm_mday);
}

void GetSystemDateAndTime(ServiceCall& call) {
    const std::time_t now = call.camera.Clock();
    std::tm utc{};
    gmtime_r(&now, &utc);
    XmlScope response(call.out, Device, "GetSystemDateAndTimeResponse");
    XmlScope value(call.out, Device, "SystemDateAndTime");
    call.out.Leaf(Schema, "DateTimeType", "NTP");
    call.out.Leaf(Schema, "DaylightSavings", "false");
    {
        XmlScope zone(call.out, Schema, "TimeZone");
        call.out.Leaf(Schema, "TZ", "CST-0:00:00");
    }
    WriteClock(call.out, "UTCDateTime", utc);
    WriteClock(call.out, "LocalDateTime", utc);
}

void GetDeviceInformation(ServiceCall& call) {
    XmlScope response(call.out, Device, "GetDeviceInformationResponse");
    call.out.Leaf(Device, "Manufacturer", "Simulated Optics & Co");
    call.out.Leaf(Device, "Model", call.camera.personality().model);
    call.out.Leaf(Device, "FirmwareVersion", "5.4.1 build 180427");
    call.out.Leaf(Device, "SerialNumber",
                  "SIM" + std::to_string(100000 + call.camera.config().index));
    call.out.Leaf(Device, "HardwareId", "88");
}

bool Wants(const ServiceCall& call, std::string_view category) {
    bool any = false;
    for (const pugi::xml_node& child : call.request.call().children()) {
        if (!NameOf(child).Is(Device, "Category"))
            continue;
        const std::string_view value = Trim(child.text().get());
        if (value == "All" || value == category)
            return true;
        any = true;
    }
    return !any;  // no category at all means every one
}

void CheckCategories(const ServiceCall& call) {
    for (const pugi::xml_node& child : call.request.call().children()) {
        if (!NameOf(child).Is(Device, "Category"))
            continue;
        const std::string_view value = Trim(child.text().get());
        for (const char* known :
             {"All", "Analytics", "Device", "Events", "Imaging", "Media", "PTZ"}) {
            if (value == known)
                return;
        }
        throw SoapFault(SoapFault::Code::kReceiver, {"ActionNotSupported", "NoSuchService"},
                        "No such service category");
    }
}

void WriteDeviceCapability(ServiceCall& call) {
    XmlScope device(call.out, Schema, "Device");
    WriteUri(call, Schema, "XAddr", call.camera.ServiceUrl(call.host, kDevicePath));
    {
        XmlScope network(call.out, Schema, "Network");
        call.out.Leaf(Schema, "IPFilter", "false");
        call.out.Leaf(Schema, "ZeroConfiguration", "true");
        call.out.Leaf(Schema, "IPVersion6", "True");  // seen in the field, not a legal boolean
    }
    XmlScope system(call.out, Schema, "System");
    call.out.Leaf(Schema, "DiscoveryResolve", "false");
    XmlScope versions(call.out, Schema, "SupportedVersions");
    WriteNumber(call.out, "Major", 2);
    WriteNumber(call.out, "Minor", 60);
}

void WriteMediaCapability(ServiceCall& call) {
    XmlScope media(call.out, Schema, "Media");
    WriteUri(call, Schema, "XAddr", MediaXAddr(call));
    {
        XmlScope streaming(call.out, Schema, "StreamingCapabilities");
        call.out.Leaf(Schema, "RTPMulticast", "false");
        call.out.Leaf(Schema, "RTP_TCP", "true");
        call.out.Leaf(Schema, "RTP_RTSP_TCP", "true");
    }
    XmlScope extension(call.out, Schema, "Extension");
    XmlScope profile(call.out, Schema, "ProfileCapabilities");
    WriteNumber(call.out, "MaximumNumberOfProfiles", 32);
}

void WriteVendorExtension(ServiceCall& call) {
    XmlScope extension(call.out, Schema, "Extension");
    XmlScope vendor(call.out, ns::Vendor, "Capabilities");
    call.out.Attribute("level", "7");
    call.out.Leaf(ns::Vendor, "Media", "not the one you want");
}

void GetCapabilities(ServiceCall& call) {
    CheckCategories(call);
    XmlScope response(call.out, Device, "GetCapabilitiesResponse");
    if (call.Fault(Fault::kCapabilitiesEmpty))
        return;
    XmlScope capabilities(call.out, Device, "Capabilities");
    if (Wants(call, "Device"))
        WriteDeviceCapability(call);
    if (Wants(call, "Media") && !call.Fault(Fault::kNoMedia))
        WriteMediaCapability(call);
    WriteVendorExtension(call);
}

void WriteService(ServiceCall& call, std::string_view space, const std::string& address) {
    XmlScope service(call.out, Device, "Service");
    call.out.Leaf(Device, "Namespace", space);
    WriteUri(call, Device, "XAddr", address);
    XmlScope version(call.out, Device, "Version");
    WriteNumber(call.out, "Major", 2);
    WriteNumber(call.out, "Minor", 60);
}

void GetServices(ServiceCall& call) {
    XmlScope response(call.out, Device, "GetServicesResponse");
    WriteService(call, Device, call.camera.ServiceUrl(call.host, kDevicePath));
    if (!call.Fault(Fault::kNoMedia))
        WriteService(call, ns::Media, MediaXAddr(call));
}

void GetScopes(ServiceCall& call) {
    XmlScope response(call.out, Device, "GetScopesResponse");
    for (const std::string& scope : ScopesOf(call.camera)) {
        XmlScope entry(call.out, Device, "Scopes");
        call.out.Leaf(Schema, "ScopeDef", "Fixed");
        call.out.Leaf(Schema, "ScopeItem", scope);
    }
}

void GetHostname(ServiceCall& call) {
    XmlScope response(call.out, Device, "GetHostnameResponse");
    XmlScope information(call.out, Device, "HostnameInformation");
    call.out.Leaf(Schema, "FromDHCP", "false");
    call.out.Leaf(Schema, "Name", "cam" + std::to_string(call.camera.config().index));
}

}  // namespace

void WriteUri(ServiceCall& call, std::string_view space, std::string_view element,
              const std::string& uri) {
    XmlScope scope(call.out, space, element);
    if (call.camera.personality().cdataUri)
        call.out.CData(uri);
    else
        call.out.Text(uri);
}

const std::vector<Operation>& DeviceOperations() {
    static const std::vector<Operation> operations = {
        {Device, "GetSystemDateAndTime", Login::kNotNeeded, GetSystemDateAndTime},
        {Device, "GetDeviceInformation", Login::kNeeded, GetDeviceInformation},
        {Device, "GetCapabilities", Login::kOptional, GetCapabilities},
        {Device, "GetServices", Login::kOptional, GetServices},
        {Device, "GetScopes", Login::kNeeded, GetScopes},
        {Device, "GetHostname", Login::kOptional, GetHostname},
    };
    return operations;
}

}  // namespace vms::sim
