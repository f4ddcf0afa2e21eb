#include "sim/discovery/ProbeMatch.h"

#include <algorithm>
#include <functional>

#include "sim/onvif/Scopes.h"
#include "sim/xml/Namespaces.h"
#include "sim/xml/XmlWriter.h"

namespace vms::sim {

namespace {

constexpr const char* kAnonymous =
    "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous";
constexpr const char* kAction = "http://schemas.xmlsoap.org/ws/2005/04/discovery/ProbeMatches";
constexpr char kJunk[] = "\x00\x01junk<<<&&& \xff\xfe ]]>";
constexpr size_t kMaxDatagram = 65000;

// Names in values need prefixes even where the elements have none.
XmlStyle StyleFor(const Camera& camera) {
    XmlStyle style = camera.style();
    style.prefixes[std::string(ns::Device)] = "tds";
    return style;
}

void WriteHeader(XmlWriter& out, const MatchContext& context) {
    XmlScope header(out, ns::Soap12, "Header");
    out.Leaf(ns::Addressing2004, "MessageID", context.messageId);
    out.Leaf(ns::Addressing2004, "RelatesTo", context.relatesTo);
    {
        XmlScope to(out, ns::Addressing2004, "To");
        out.Attribute(ns::Soap12, "mustUnderstand", "true");
        out.Text(kAnonymous);
    }
    {
        XmlScope action(out, ns::Addressing2004, "Action");
        out.Attribute(ns::Soap12, "mustUnderstand", "true");
        out.Text(kAction);
    }
    XmlScope sequence(out, ns::Discovery, "AppSequence");
    out.Attribute(ns::Soap12, "mustUnderstand", "true");
    out.Attribute("InstanceId", std::to_string(context.instance));
    out.Attribute("MessageNumber", std::to_string(context.number));
}

std::string JoinedScopes(const Camera& camera) {
    std::string text;
    for (const std::string& scope : ScopesOf(camera))
        text += (text.empty() ? "" : " ") + scope;
    if (const FaultRule* rule = camera.faults().Find(Fault::kDiscoveryHuge)) {
        const auto size = static_cast<size_t>(std::clamp(rule->Number(), 0LL, 62000LL));
        while (text.size() < size)
            text += " onvif://www.onvif.org/extended/filler";
    }
    return text;
}

std::string XAddrs(const Camera& camera, const std::string& host) {
    if (const FaultRule* rule = camera.faults().Find(Fault::kDiscoveryXAddrsJunk))
        return rule->value;
    std::string text = camera.ServiceUrl(host, kDevicePath);
    if (camera.faults().Has(Fault::kDiscoveryXAddrsList))
        text += " https://" + host + kDevicePath + " http://[fe80::1]" + kDevicePath +
                " http://198.51.100.7:8000" + kDevicePath;
    return text;
}

void WriteTypes(XmlWriter& out) {
    XmlScope types(out, ns::Discovery, "Types");
    const std::string transmitter = out.QName(ns::Network, "NetworkVideoTransmitter");
    const std::string device = out.QName(ns::Device, "Device");
    out.Text(transmitter + ' ' + device);
}

void WriteMatch(XmlWriter& out, const Camera& camera, const MatchContext& context) {
    XmlScope match(out, ns::Discovery, "ProbeMatch");
    {
        XmlScope reference(out, ns::Addressing2004, "EndpointReference");
        out.Leaf(ns::Addressing2004, "Address", "urn:uuid:" + camera.config().uuid);
    }
    WriteTypes(out);
    out.Leaf(ns::Discovery, "Scopes", JoinedScopes(camera));
    if (!camera.faults().Has(Fault::kDiscoveryNoXAddrs))
        out.Leaf(ns::Discovery, "XAddrs", XAddrs(camera, context.host));
    out.Leaf(ns::Discovery, "MetadataVersion", "10");
}

std::string WriteMessage(const Camera& camera, const MatchContext& context,
                         const std::function<void(XmlWriter&)>& writeBody) {
    const XmlStyle style = StyleFor(camera);
    XmlWriter out(style);
    {
        XmlScope envelope(out, ns::Soap12, "Envelope");
        if (camera.personality().declareAtRoot) {
            for (const std::string_view space :
                 {ns::Addressing2004, ns::Discovery, ns::Network, ns::Device})
                out.Declare(space);
        }
        WriteHeader(out, context);
        XmlScope body(out, ns::Soap12, "Body");
        writeBody(out);
    }
    return out.Take();
}

std::string WriteMatches(const Camera& camera, const MatchContext& context) {
    return WriteMessage(camera, context, [&](XmlWriter& out) {
        XmlScope matches(out, ns::Discovery, "ProbeMatches");
        if (!camera.faults().Has(Fault::kDiscoveryEmpty))
            WriteMatch(out, camera, context);
    });
}

}  // namespace

std::vector<std::string> WriteProbeMatches(const Camera& camera, const MatchContext& context) {
    std::string message = WriteMatches(camera, context).substr(0, kMaxDatagram);
    if (camera.faults().Has(Fault::kDiscoveryTruncated))
        message.resize(message.size() / 2);
    std::vector<std::string> datagrams;
    if (camera.faults().Has(Fault::kDiscoveryJunk))
        datagrams.emplace_back(kJunk, sizeof kJunk - 1);
    if (const FaultRule* rule = camera.faults().Find(Fault::kDiscoveryEmptyBody))
        datagrams.push_back(
            WriteMessage(camera, context, [&](XmlWriter& out) { out.Text(rule->value); }));
    if (camera.faults().Has(Fault::kDiscoveryTwice))
        datagrams.push_back(message);
    datagrams.push_back(std::move(message));
    return datagrams;
}

}  // namespace vms::sim
