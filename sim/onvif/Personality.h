#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sim/net/HttpAnswer.h"
#include "sim/xml/XmlWriter.h"

namespace vms::sim {

/// The manners of a make of camera: everything that differs between makes while the answer says
/// the same. Lives as long as the program.
struct Personality {
    std::string name;
    XmlStyle xml;
    HttpStyle http;
    bool declareAtRoot = true;      ///< all namespaces on the envelope, else where first used
    bool securityHeader = false;    ///< answers carry a wsse:Security header block
    bool vendorHeader = false;      ///< answers carry an unknown block with mustUnderstand="true"
    bool addressingHeader = false;  ///< answers carry WS-Addressing 2005/08 blocks
    bool cdataUri = false;          ///< addresses are written as CDATA
    bool comments = false;          ///< comments between elements
    bool openCapabilities = false;  ///< GetCapabilities and GetServices need no login
    int authStatus = 400;           ///< HTTP status of a refused login
    int faultStatus = 0;            ///< HTTP status of other faults; 0 = 400 or 500 by fault code
    std::string tokenPrefix;        ///< profile tokens are this and the position
    std::string model;
};

/// All of them, in the order in which they are dealt out.
const std::vector<Personality>& Personalities();

/// @return null when there is none of that name
const Personality* FindPersonality(std::string_view name);

}  // namespace vms::sim
