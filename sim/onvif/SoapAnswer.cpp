#include "sim/onvif/SoapAnswer.h"

#include "sim/onvif/HostileBody.h"
#include "sim/xml/Namespaces.h"

namespace vms::sim {

namespace {

void DeclareAll(XmlWriter& out) {
    for (const std::string_view space :
         {ns::Addressing2004, ns::Discovery, ns::Network, ns::Device, ns::Media, ns::Schema,
          ns::Error, ns::Security, ns::Utility, ns::Vendor})
        out.Declare(space);
}

void WriteSecurity(XmlWriter& out, const Camera& camera) {
    XmlScope security(out, ns::Security, "Security");
    out.Attribute(ns::Soap12, "mustUnderstand", "true");
    {
        XmlScope stamp(out, ns::Utility, "Timestamp");
        out.Attribute(ns::Utility, "Id", "Timestamp-1");
        out.Leaf(ns::Utility, "Created", "2024-02-30T25:61:00Z");  // a clock that was never set
    }
    XmlScope token(out, ns::Security, "UsernameToken");
    out.Leaf(ns::Security, "Username", camera.config().user);
}

void WriteVendorBlock(XmlWriter& out) {
    XmlScope block(out, ns::Vendor, "SessionTrace");
    out.Attribute(ns::Soap12, "mustUnderstand", "true");
    out.Leaf(ns::Vendor, "Hop", "1");
}

void WriteAddressing(XmlWriter& out, const std::string& operation) {
    XmlScope action(out, ns::Addressing2005, "Action");
    out.Attribute(ns::Soap12, "mustUnderstand", "true");
    out.Text(operation + "Response");
}

bool HasHeader(const Camera& camera, const std::string& operation) {
    const Personality& personality = camera.personality();
    return personality.securityHeader || personality.vendorHeader || personality.addressingHeader ||
           camera.faults().Has(Fault::kMustUnderstand, operation) ||
           camera.faults().Has(Fault::kDeepSecurity, operation);
}

void WriteHeader(XmlWriter& out, const Camera& camera, const std::string& operation) {
    if (!HasHeader(camera, operation))
        return;
    const Personality& personality = camera.personality();
    XmlScope header(out, ns::Soap12, "Header");
    if (personality.addressingHeader)
        WriteAddressing(out, operation);
    if (const FaultRule* rule = camera.faults().Find(Fault::kDeepSecurity, operation))
        WriteNestedAssertions(out, rule->Number());
    else if (personality.securityHeader)
        WriteSecurity(out, camera);
    if (personality.vendorHeader || camera.faults().Has(Fault::kMustUnderstand, operation))
        WriteVendorBlock(out);
}

const char* CodeName(SoapFault::Code code) {
    switch (code) {
        case SoapFault::Code::kSender:
            return "Sender";
        case SoapFault::Code::kReceiver:
            return "Receiver";
        case SoapFault::Code::kVersionMismatch:
            return "VersionMismatch";
        case SoapFault::Code::kMustUnderstand:
            return "MustUnderstand";
    }
    return "Receiver";
}

void WriteSubcodes(XmlWriter& out, const std::vector<std::string>& subcodes, size_t at) {
    if (at == subcodes.size())
        return;
    XmlScope subcode(out, ns::Soap12, "Subcode");
    {
        XmlScope value(out, ns::Soap12, "Value");
        out.Text(out.QName(ns::Error, subcodes[at]));
    }
    WriteSubcodes(out, subcodes, at + 1);
}

void WriteFault(XmlWriter& out, const SoapFault& fault) {
    XmlScope element(out, ns::Soap12, "Fault");
    {
        XmlScope code(out, ns::Soap12, "Code");
        out.Leaf(ns::Soap12, "Value", out.QName(ns::Soap12, CodeName(fault.code())));
        WriteSubcodes(out, fault.subcodes(), 0);
    }
    XmlScope reason(out, ns::Soap12, "Reason");
    XmlScope text(out, ns::Soap12, "Text");
    out.Attribute("xml:lang", "en");
    out.Text(fault.what());
}

}  // namespace

std::string WriteEnvelope(const Camera& camera, const std::string& operation,
                          const std::function<void(XmlWriter&)>& writeBody) {
    XmlWriter out(camera.style());
    {
        XmlScope envelope(out, ns::Soap12, "Envelope");
        if (camera.personality().declareAtRoot)
            DeclareAll(out);
        WriteHeader(out, camera, operation);
        XmlScope body(out, ns::Soap12, "Body");
        writeBody(out);
    }
    return out.Take();
}

std::string WriteFaultEnvelope(const Camera& camera, const std::string& operation,
                               const SoapFault& fault) {
    return WriteEnvelope(camera, operation, [&](XmlWriter& out) { WriteFault(out, fault); });
}

}  // namespace vms::sim
