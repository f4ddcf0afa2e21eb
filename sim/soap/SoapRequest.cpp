#include "sim/soap/SoapRequest.h"

#include "sim/soap/SoapFault.h"
#include "sim/xml/Namespaces.h"

namespace vms::sim {

namespace {

pugi::xml_node FirstElement(pugi::xml_node parent) {
    for (const pugi::xml_node& child : parent.children()) {
        if (child.type() == pugi::node_element)
            return child;
    }
    return {};
}

pugi::xml_node CheckedEnvelope(const pugi::xml_document& document) {
    const pugi::xml_node root = document.document_element();
    const XmlName name = NameOf(root);
    if (name.local != "Envelope")
        throw SoapFault::Malformed("Not a SOAP envelope");
    if (name.space != ns::Soap12)
        throw SoapFault(SoapFault::Code::kVersionMismatch, {}, "SOAP 1.2 is required");
    return root;
}

bool IsUnderstood(const XmlName& name) {
    return name.space == ns::Security || name.space == ns::Addressing2004 ||
           name.space == ns::Addressing2005;
}

bool MustBeUnderstood(pugi::xml_node block) {
    const std::string flag = AttributeOf(block, ns::Soap12, "mustUnderstand");
    return flag == "true" || flag == "1";
}

}  // namespace

SoapRequest::SoapRequest(const std::string& text) {
    // A document type declaration has no place in SOAP; the parser would skip it in silence.
    const auto parsed =
        document_.load_buffer(text.data(), text.size(), pugi::parse_default | pugi::parse_doctype);
    if (!parsed)
        throw SoapFault::Malformed(std::string("Not well-formed: ") + parsed.description());
    if (document_.first_child().type() == pugi::node_doctype)
        throw SoapFault::Malformed("Document type declaration refused");
    const pugi::xml_node envelope = CheckedEnvelope(document_);
    const pugi::xml_node body = FindChild(envelope, ns::Soap12, "Body");
    call_ = FirstElement(body);
    if (!call_)
        throw SoapFault::Malformed("No call in the body");
    operation_ = NameOf(call_);
    ReadHeader(FindChild(envelope, ns::Soap12, "Header"));
}

void SoapRequest::ReadHeader(pugi::xml_node header) {
    for (const pugi::xml_node& block : header.children()) {
        if (block.type() != pugi::node_element)
            continue;
        const XmlName name = NameOf(block);
        if (MustBeUnderstood(block) && !IsUnderstood(name))
            throw SoapFault(SoapFault::Code::kMustUnderstand, {},
                            "Header not understood: " + name.local);
        if (name.Is(ns::Security, "Security"))
            ReadToken(block);
    }
}

void SoapRequest::ReadToken(pugi::xml_node security) {
    const pugi::xml_node node = FindChild(security, ns::Security, "UsernameToken");
    if (!node)
        return;
    const pugi::xml_node password = FindChild(node, ns::Security, "Password");
    UsernameToken token;
    token.user = FindChild(node, ns::Security, "Username").text().get();
    token.passwordType = password.attribute("Type").value();
    token.password = Trim(password.text().get());
    token.nonce = ChildText(node, ns::Security, "Nonce");
    token.created = ChildText(node, ns::Utility, "Created");
    token_ = std::move(token);
}

}  // namespace vms::sim
