#include "sim/onvif/Personality.h"

#include <initializer_list>
#include <utility>

#include "sim/xml/Namespaces.h"

namespace vms::sim {

namespace {

using Prefixes = std::map<std::string, std::string, std::less<>>;

Prefixes CommonPrefixes() {
    return {{std::string(ns::Soap12), "s"},
            {std::string(ns::Addressing2004), "wsa"},
            {std::string(ns::Addressing2005), "wsa5"},
            {std::string(ns::Discovery), "d"},
            {std::string(ns::Network), "dn"},
            {std::string(ns::Device), "tds"},
            {std::string(ns::Media), "trt"},
            {std::string(ns::Schema), "tt"},
            {std::string(ns::Error), "ter"},
            {std::string(ns::Security), "wsse"},
            {std::string(ns::Utility), "wsu"},
            {std::string(ns::Saml2), "saml2"},
            {std::string(ns::Vendor), "vnd"}};
}

Prefixes PrefixesWith(
    std::initializer_list<std::pair<std::string_view, const char*>> replacements) {
    Prefixes prefixes = CommonPrefixes();
    for (const auto& [space, prefix] : replacements)
        prefixes[std::string(space)] = prefix;
    return prefixes;
}

Personality Classic() {
    Personality p;
    p.name = "classic";
    p.xml.prefixes = PrefixesWith({{ns::Soap12, "SOAP-ENV"}, {ns::Discovery, "wsdd"}});
    p.http.server = "webserver/2.8";
    p.tokenPrefix = "Profile_";
    p.model = "CX-2120";
    return p;
}

Personality Lean() {
    Personality p;
    p.name = "lean";
    p.xml.declaration = false;
    p.xml.prefixes = PrefixesWith({{ns::Soap12, "s"}, {ns::Schema, "sch"}});
    p.http.lowerCaseNames = true;
    p.declareAtRoot = false;
    p.openCapabilities = true;
    p.authStatus = 401;
    p.tokenPrefix = "MediaProfile00";
    p.model = "LN5";
    return p;
}

Personality Chunked() {
    Personality p;
    p.name = "chunked";
    p.xml.prefixes = PrefixesWith({{ns::Soap12, "env"}, {ns::Network, "tdn"}});
    p.http.chunked = true;
    p.http.server = "gHost/1.0";
    p.addressingHeader = true;
    p.tokenPrefix = "profile_cam1_stream";
    p.model = "DomeView 4";
    return p;
}

Personality Strict() {
    Personality p;
    p.name = "strict";
    p.xml.prefixes = PrefixesWith(
        {{ns::Soap12, "soap"}, {ns::Device, "ns1"}, {ns::Media, "ns2"}, {ns::Schema, "ns3"}});
    p.http.keepAlive = false;
    p.securityHeader = true;
    p.vendorHeader = true;
    p.authStatus = 401;
    p.tokenPrefix = "S";
    p.model = "SecureCam M1";
    return p;
}

Personality Bare() {
    Personality p;
    p.name = "bare";
    p.xml.indent = true;
    p.xml.quote = '\'';
    p.xml.prefixes = PrefixesWith({{ns::Soap12, "e"},
                                   {ns::Device, ""},
                                   {ns::Media, ""},
                                   {ns::Schema, ""},
                                   {ns::Discovery, ""}});
    p.declareAtRoot = false;
    p.cdataUri = true;
    p.comments = true;
    p.openCapabilities = true;
    p.faultStatus = 200;
    p.tokenPrefix = "profile ";
    p.model = "B&W <1>";
    return p;
}

}  // namespace

const std::vector<Personality>& Personalities() {
    static const std::vector<Personality> all = {Classic(), Lean(), Chunked(), Strict(), Bare()};
    return all;
}

const Personality* FindPersonality(std::string_view name) {
    for (const Personality& personality : Personalities()) {
        if (personality.name == name)
            return &personality;
    }
    return nullptr;
}

}  // namespace vms::sim
