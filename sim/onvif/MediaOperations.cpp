#include <algorithm>

#include "sim/onvif/Operation.h"
#include "sim/onvif/ProfileWriter.h"
#include "sim/soap/SoapFault.h"
#include "sim/xml/Namespaces.h"

namespace vms::sim {

namespace {

using ns::Media;
using ns::Schema;

// Profiles enough to fill that many bytes, each with a token of its own.
int HugeCount(const FaultRule& rule) {
    constexpr long long kBytesPerProfile = 3000;
    constexpr long long kMaxMiB = 512;
    const long long mib = std::min(kMaxMiB, std::max(1LL, rule.Number()));
    return static_cast<int>(mib * 1024 * 1024 / kBytesPerProfile);
}

void GetProfiles(ServiceCall& call) {
    XmlScope response(call.out, Media, "GetProfilesResponse");
    const FaultRule* huge = call.Fault(Fault::kHugeProfiles);
    const int count = huge ? HugeCount(*huge) : call.camera.ProfileCount();
    for (int i = 0; i < count; ++i)
        WriteProfile(call.out, call.camera, call.camera.Profile(i), "Profiles");
}

int RequestedProfile(const ServiceCall& call) {
    const pugi::xml_node element = FindChild(call.request.call(), Media, "ProfileToken");
    if (!element)
        throw SoapFault::InvalidArgument("NoProfile", "ProfileToken is missing");
    const int profile = call.camera.FindProfile(element.text().get());
    if (profile < 0)
        throw SoapFault::InvalidArgument("NoProfile", "The requested profile does not exist");
    return profile;
}

void GetProfile(ServiceCall& call) {
    const int profile = RequestedProfile(call);
    XmlScope response(call.out, Media, "GetProfileResponse");
    WriteProfile(call.out, call.camera, call.camera.Profile(profile), "Profile");
}

void CheckStreamSetup(const ServiceCall& call) {
    const pugi::xml_node setup = FindChild(call.request.call(), Media, "StreamSetup");
    const std::string stream = ChildText(setup, Schema, "Stream");
    const pugi::xml_node transport = FindChild(setup, Schema, "Transport");
    const std::string protocol = ChildText(transport, Schema, "Protocol");
    if (stream != "RTP-Unicast")
        throw SoapFault::InvalidArgument("InvalidStreamSetup", "Only RTP-Unicast is supported");
    if (protocol != "RTSP" && protocol != "UDP")
        throw SoapFault::InvalidArgument("InvalidStreamSetup", "Transport is not supported");
}

std::string StreamUri(const ServiceCall& call, int profile) {
    if (call.Fault(Fault::kEmptyUri))
        return "";
    if (const FaultRule* rule = call.Fault(Fault::kShortUri))
        return rule->value;
    const FaultRule* other = call.Fault(Fault::kOtherHost);
    std::string uri = call.camera.StreamUrl(other ? other->value : call.host, profile);
    if (call.Fault(Fault::kRtsps))
        uri.replace(0, 4, "rtsps");
    return uri;
}

void WriteMediaUri(ServiceCall& call, const std::string& uri) {
    XmlScope media(call.out, Media, "MediaUri");
    WriteUri(call, Schema, "Uri", uri);
    call.out.Leaf(Schema, "InvalidAfterConnect", "false");
    call.out.Leaf(Schema, "InvalidAfterReboot", "FALSE");  // seen in the field
    call.out.Leaf(Schema, "Timeout", "PT0S");
}

void GetStreamUri(ServiceCall& call) {
    CheckStreamSetup(call);
    const int profile = RequestedProfile(call);
    XmlScope response(call.out, Media, "GetStreamUriResponse");
    WriteMediaUri(call, StreamUri(call, profile));
}

void GetVideoSources(ServiceCall& call) {
    XmlScope response(call.out, Media, "GetVideoSourcesResponse");
    XmlScope source(call.out, Media, "VideoSources");
    call.out.Attribute("token", "VideoSource_1");
    call.out.Leaf(Schema, "Framerate", "25");
    XmlScope resolution(call.out, Schema, "Resolution");
    call.out.Leaf(Schema, "Width", "1280");
    call.out.Leaf(Schema, "Height", "720");
}

}  // namespace

const std::vector<Operation>& MediaOperations() {
    static const std::vector<Operation> operations = {
        {Media, "GetProfiles", Login::kNeeded, GetProfiles},
        {Media, "GetProfile", Login::kNeeded, GetProfile},
        {Media, "GetStreamUri", Login::kNeeded, GetStreamUri},
        {Media, "GetVideoSources", Login::kNeeded, GetVideoSources},
    };
    return operations;
}

}  // namespace vms::sim
