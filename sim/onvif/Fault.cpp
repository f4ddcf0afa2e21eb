#include "sim/onvif/Fault.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace vms::sim {

const std::vector<FaultInfo>& FaultCatalogue() {
    static const std::vector<FaultInfo> catalogue = {
        {Fault::kRefused, "refused", "", "", "nothing listens on the port that is announced"},
        {Fault::kWrongPassword, "wrongPassword", "", "",
         "the real password is not the announced one"},
        {Fault::kWrongClock, "wrongClock", "3600", "", "seconds by which the clock is off"},
        {Fault::kProfiles, "profiles", "0", "", "number of profiles, 0 to 2000"},
        {Fault::kNoMedia, "noMedia", "", "", "no Media capability; the service still answers"},
        {Fault::kMediaXAddrJunk, "mediaXAddrJunk", "junk://camera/media", "",
         "Media address that is not HTTP"},
        {Fault::kOtherHost, "otherHost", "203.0.113.9", "", "host in the stream URI"},
        {Fault::kRtsps, "rtsps", "", "", "stream URI begins rtsps://"},
        {Fault::kShortUri, "shortUri", "rtsp:", "", "stream URI of a few characters"},
        {Fault::kEmptyUri, "emptyUri", "", "", "empty stream URI"},
        {Fault::kToken, "token", "profile/", "", "text that profile tokens begin with"},
        {Fault::kMediaPath, "mediaPath", "/media", "", "path of the Media service"},
        {Fault::kReferences, "references", "", "",
         "letters beyond ASCII are written as character references"},
        {Fault::kSoapFaultAnswer, "fault", "ActionFailed", "GetCapabilities",
         "SOAP fault with that subcode"},
        {Fault::kCapabilitiesEmpty, "capabilitiesEmpty", "", "",
         "GetCapabilitiesResponse without Capabilities"},
        {Fault::kMustUnderstand, "mustUnderstand", "", "",
         "an unknown header block with mustUnderstand=\"true\""},
        {Fault::kHugeProfiles, "hugeProfiles", "16", "", "MiB of valid profiles"},
        {Fault::kNonXml, "nonXml", "", "", "body that is not XML"},
        {Fault::kNotSoap, "notSoap", "", "", "XML that is not SOAP"},
        {Fault::kDeepNesting, "deepNesting", "100000", "", "nested elements in the body"},
        {Fault::kDeepSecurity, "deepSecurity", "30000", "",
         "nested assertions in a Security header"},
        {Fault::kEntities, "entities", "", "", "entities that expand to gigabytes"},
        {Fault::kHttp500Html, "http500Html", "", "", "HTTP 500 with an HTML page"},
        {Fault::kRedirect, "redirect", "http://127.0.0.1:9/onvif/device_service", "",
         "HTTP 302 to that address"},
        {Fault::kSilent, "silent", "", "", "reads the request, never answers"},
        {Fault::kDelay, "delay", "1000", "", "milliseconds before the answer"},
        {Fault::kSlow, "slow", "1000", "", "milliseconds between single bytes"},
        {Fault::kTruncated, "truncated", "", "", "connection closes in the middle of the answer"},
        {Fault::kDropAfterHeaders, "dropAfterHeaders", "", "",
         "connection closes after the header"},
        {Fault::kWrongContentLength, "wrongContentLength", "-64", "",
         "bytes by which Content-Length is off"},
        {Fault::kHuge, "huge", "", "",
         "answer that never ends; =length or =chunked announces a body"},
        {Fault::kDiscoverySilent, "discoverySilent", "", "", "probes are not answered"},
        {Fault::kDiscoveryJunk, "discoveryJunk", "", "", "a datagram of junk before the match"},
        {Fault::kDiscoveryTruncated, "discoveryTruncated", "", "", "the match is cut in half"},
        {Fault::kDiscoveryHuge, "discoveryHuge", "60000", "", "bytes of scopes in the match"},
        {Fault::kDiscoveryNoXAddrs, "discoveryNoXAddrs", "", "", "match without XAddrs"},
        {Fault::kDiscoveryXAddrsJunk, "discoveryXAddrsJunk", "camera.example", "",
         "XAddrs without slashes"},
        {Fault::kDiscoveryXAddrsList, "discoveryXAddrsList", "", "",
         "XAddrs with several addresses"},
        {Fault::kDiscoveryNoName, "discoveryNoName", "", "", "match without a name scope"},
        {Fault::kDiscoveryPlainName, "discoveryPlainName", "", "",
         "name scope without percent-encoding"},
        {Fault::kDiscoveryEmpty, "discoveryEmpty", "", "", "ProbeMatches without a match"},
        {Fault::kDiscoveryEmptyBody, "discoveryEmptyBody", "", "",
         "a message with no more in its Body than this text before the match"},
        {Fault::kDiscoveryTwice, "discoveryTwice", "", "", "every match is sent twice"},
    };
    return catalogue;
}

namespace {

const FaultInfo& InfoFor(std::string_view name) {
    const auto& all = FaultCatalogue();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const FaultInfo& info) { return name == info.name; });
    if (found == all.end())
        throw std::invalid_argument("unknown fault: " + std::string(name));
    return *found;
}

const FaultInfo& InfoFor(Fault fault) {
    const auto& all = FaultCatalogue();
    return *std::find_if(all.begin(), all.end(),
                         [&](const FaultInfo& info) { return info.fault == fault; });
}

bool IsNumeric(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789", text.front() == '-' ? 1 : 0) ==
                                std::string_view::npos;
}

void CheckValue(const FaultInfo& info, const std::string& value) {
    // A fault whose default is a number takes nothing else.
    if (IsNumeric(info.defaultValue) && !IsNumeric(value))
        throw std::invalid_argument(std::string(info.name) + " takes a number, not '" + value +
                                    "'");
    if (info.fault == Fault::kProfiles && std::strtoll(value.c_str(), nullptr, 10) > 2000)
        throw std::invalid_argument("profiles: at most 2000");
}

}  // namespace

long long FaultRule::Number() const {
    return std::strtoll(value.c_str(), nullptr, 10);
}

FaultRule ParseFaultRule(std::string_view text) {
    const size_t equals = text.find('=');
    const std::string_view head = text.substr(0, equals);
    const size_t at = head.find('@');
    const FaultInfo& info = InfoFor(head.substr(0, at));
    FaultRule rule{info.fault, info.defaultOperation, info.defaultValue};
    if (at != std::string_view::npos)
        rule.operation = head.substr(at + 1);
    if (equals != std::string_view::npos)
        rule.value = text.substr(equals + 1);
    CheckValue(info, rule.value);
    return rule;
}

void FaultSet::Add(FaultRule rule) {
    std::erase_if(rules_, [&](const FaultRule& old) {
        return old.fault == rule.fault && old.operation == rule.operation;
    });
    rules_.push_back(std::move(rule));
}

const FaultRule* FaultSet::Find(Fault fault, std::string_view operation) const {
    const FaultRule* general = nullptr;
    for (const FaultRule& rule : rules_) {
        if (rule.fault != fault)
            continue;
        if (rule.operation.empty())
            general = &rule;
        else if (rule.operation == operation)
            return &rule;
    }
    return general;
}

std::vector<std::string> FaultSet::Describe() const {
    std::vector<std::string> texts;
    for (const FaultRule& rule : rules_) {
        std::string text = InfoFor(rule.fault).name;
        if (!rule.operation.empty())
            text += '@' + rule.operation;
        if (!rule.value.empty())
            text += '=' + rule.value;
        texts.push_back(std::move(text));
    }
    return texts;
}

}  // namespace vms::sim
