#include "sim/discovery/Probe.h"

#include <sstream>

#include <pugixml.hpp>

#include "sim/xml/Namespaces.h"
#include "sim/xml/XmlNames.h"

namespace vms::sim {

namespace {

constexpr std::string_view kAction = "http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe";

// A list of qualified names; every one of them must be a type of the camera.
bool MatchesTypes(pugi::xml_node node, const std::string& list) {
    std::istringstream words(list);
    for (std::string word; words >> word;) {
        const XmlName type = ResolveQName(node, word);
        if (!type.Is(ns::Network, "NetworkVideoTransmitter") && !type.Is(ns::Device, "Device"))
            return false;
    }
    return true;
}

Probe Refused(Probe probe, const char* reason) {
    probe.reason = reason;
    return probe;
}

Probe ReadEnvelope(pugi::xml_node envelope) {
    Probe probe;
    const pugi::xml_node header = FindChild(envelope, ns::Soap12, "Header");
    probe.messageId = ChildText(header, ns::Addressing2004, "MessageID");
    if (ChildText(header, ns::Addressing2004, "Action") != kAction)
        return Refused(std::move(probe), "action is not Probe");
    if (probe.messageId.empty())
        return Refused(std::move(probe), "no MessageID");
    const pugi::xml_node body = FindChild(envelope, ns::Soap12, "Body");
    const pugi::xml_node element = FindChild(body, ns::Discovery, "Probe");
    if (!element)
        return Refused(std::move(probe), "no Probe element");
    const pugi::xml_node types = FindChild(element, ns::Discovery, "Types");
    probe.types = Trim(types.text().get());
    if (!MatchesTypes(types, probe.types))
        return Refused(std::move(probe), "types do not match");
    probe.valid = true;
    return probe;
}

}  // namespace

Probe ParseProbe(std::string_view datagram) {
    pugi::xml_document document;
    if (!document.load_buffer(datagram.data(), datagram.size()))
        return Refused({}, "not XML");
    const pugi::xml_node envelope = document.document_element();
    if (!NameOf(envelope).Is(ns::Soap12, "Envelope"))
        return Refused({}, "not a SOAP 1.2 envelope");
    return ReadEnvelope(envelope);
}

}  // namespace vms::sim
