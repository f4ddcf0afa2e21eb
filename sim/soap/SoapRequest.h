#pragma once

#include <optional>
#include <string>

#include <pugixml.hpp>

#include "sim/soap/UsernameToken.h"
#include "sim/xml/XmlNames.h"

namespace vms::sim {

/// A parsed request envelope. Nodes belong to the document inside, so it is not copyable.
class SoapRequest {
public:
    /// @throws SoapFault when `text` is not a SOAP 1.2 envelope with one call in it
    explicit SoapRequest(const std::string& text);

    const XmlName& operation() const { return operation_; }
    pugi::xml_node call() const { return call_; }
    const std::optional<UsernameToken>& token() const { return token_; }

private:
    void ReadHeader(pugi::xml_node header);
    void ReadToken(pugi::xml_node security);

    pugi::xml_document document_;
    pugi::xml_node call_;
    XmlName operation_;
    std::optional<UsernameToken> token_;
};

}  // namespace vms::sim
