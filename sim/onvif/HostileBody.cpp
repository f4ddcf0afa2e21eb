#include "sim/onvif/HostileBody.h"

#include <algorithm>

#include "sim/onvif/SoapAnswer.h"
#include "sim/xml/Namespaces.h"

namespace vms::sim {

namespace {

constexpr char kJunk[] = "\x00\xff\xfe camera says \x80 hello <";
constexpr long long kMaxDepth = 10'000'000;

size_t Depth(long long wanted) {
    return static_cast<size_t>(std::clamp(wanted, 1LL, kMaxDepth));
}

std::string Repeat(const std::string& text, size_t times) {
    std::string out;
    out.reserve(text.size() * times);
    for (size_t i = 0; i < times; ++i)
        out += text;
    return out;
}

HttpAnswer Answer(int status, std::string contentType, std::string body) {
    HttpAnswer answer;
    answer.status = status;
    answer.contentType = std::move(contentType);
    answer.body = std::move(body);
    return answer;
}

HttpAnswer SoapBody(std::string body) {
    return Answer(200, "application/soap+xml; charset=utf-8", std::move(body));
}

// Ten levels of ten: a parser that expands entities needs tens of gigabytes.
std::string EntityBomb(const std::string& operation) {
    std::string dtd = "<!DOCTYPE bomb [<!ENTITY e0 \"boom boom boom\">";
    for (int level = 1; level <= 10; ++level) {
        const std::string inner = Repeat("&e" + std::to_string(level - 1) + ";", 10);
        dtd += "<!ENTITY e" + std::to_string(level) + " \"" + inner + "\">";
    }
    return "<?xml version=\"1.0\"?>" + dtd + "]><s:Envelope xmlns:s=\"" + std::string(ns::Soap12) +
           "\"><s:Body><r:" + operation + "Response xmlns:r=\"" + std::string(ns::Device) +
           "\">&e10;</r:" + operation + "Response></s:Body></s:Envelope>";
}

HttpAnswer Nested(const Camera& camera, const std::string& operation, long long depth) {
    return SoapBody(WriteEnvelope(camera, operation, [&](XmlWriter& out) {
        XmlScope response(out, ns::Device, operation + "Response");
        out.Raw(Repeat("<n>", Depth(depth)) + Repeat("</n>", Depth(depth)));
    }));
}

HttpAnswer Redirection(const std::string& location) {
    HttpAnswer answer = Answer(302, "text/html", "<html><body>moved</body></html>");
    answer.headers.emplace_back("Location", location);
    return answer;
}

}  // namespace

std::optional<HttpAnswer> HostileAnswer(const Camera& camera, const std::string& operation) {
    const auto has = [&](Fault fault) { return camera.faults().Find(fault, operation); };
    if (has(Fault::kNonXml))
        return Answer(200, "text/plain", std::string(kJunk, sizeof kJunk - 1));
    if (has(Fault::kNotSoap))
        return SoapBody("<?xml version=\"1.0\"?><camera><status>fine</status></camera>");
    if (has(Fault::kHttp500Html))
        return Answer(500, "text/html", "<html><body><h1>Internal Error<br></body></html>");
    if (const FaultRule* rule = has(Fault::kRedirect))
        return Redirection(rule->value);
    if (has(Fault::kEntities))
        return SoapBody(EntityBomb(operation));
    if (const FaultRule* rule = has(Fault::kDeepNesting))
        return Nested(camera, operation, rule->Number());
    return std::nullopt;
}

void WriteNestedAssertions(XmlWriter& out, long long depth) {
    XmlScope security(out, ns::Security, "Security");
    out.Attribute(ns::Soap12, "mustUnderstand", "true");
    out.Declare(ns::Saml2);
    out.Raw(Repeat("<saml2:Assertion><saml2:Advice>", Depth(depth)) +
            Repeat("</saml2:Advice></saml2:Assertion>", Depth(depth)));
}

}  // namespace vms::sim
