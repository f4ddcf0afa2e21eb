#include "sim/soap/SoapRequest.h"

#include <gtest/gtest.h>

#include "sim/soap/SoapFault.h"

namespace vms::sim {
namespace {

constexpr const char* kSoap12 = "http://www.w3.org/2003/05/soap-envelope";

std::string Envelope(const std::string& header, const std::string& body,
                     const std::string& space = kSoap12) {
    return "<x:Envelope xmlns:x=\"" + space + "\"><x:Header>" + header + "</x:Header><x:Body>" +
           body + "</x:Body></x:Envelope>";
}

SoapFault::Code FaultOf(const std::string& text) {
    try {
        const SoapRequest request(text);
    } catch (const SoapFault& fault) {
        return fault.code();
    }
    ADD_FAILURE() << "accepted: " << text;
    return SoapFault::Code::kReceiver;
}

TEST(SoapRequest, FindsCallAndTokenByNamespaceNotByPrefix) {
    const SoapRequest request(Envelope(
        R"(<S:Security x:mustUnderstand="1"
             xmlns:S="http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd"
             xmlns:U="http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd">
             <S:UsernameToken><S:Username>a&amp;b</S:Username><S:Password Type="t"> digest </S:Password>
             <S:Nonce>bm9uY2U=</S:Nonce><U:Created>now</U:Created></S:UsernameToken></S:Security>)",
        R"(<!-- c --><GetThing xmlns="urn:thing"/>)"));

    EXPECT_TRUE(request.operation().Is("urn:thing", "GetThing"));
    ASSERT_TRUE(request.token());
    EXPECT_EQ(request.token()->user, "a&b");
    EXPECT_EQ(request.token()->passwordType, "t");
    EXPECT_EQ(request.token()->password, "digest");
    EXPECT_EQ(request.token()->nonce, "bm9uY2U=");
    EXPECT_EQ(request.token()->created, "now");
}

TEST(SoapRequest, ATokenInAnotherNamespaceIsNone) {
    const SoapRequest request(
        Envelope(R"(<Security xmlns="urn:fake"><UsernameToken/></Security>)", "<a/>"));
    EXPECT_FALSE(request.token());
}

TEST(SoapRequest, RefusesWhatIsNoCall) {
    EXPECT_EQ(FaultOf(""), SoapFault::Code::kSender);
    EXPECT_EQ(FaultOf("not xml <"), SoapFault::Code::kSender);
    EXPECT_EQ(FaultOf("<Envelope"), SoapFault::Code::kSender);
    EXPECT_EQ(FaultOf("<html/>"), SoapFault::Code::kSender);
    EXPECT_EQ(FaultOf(Envelope("", "")), SoapFault::Code::kSender);
    EXPECT_EQ(FaultOf("<!DOCTYPE a [<!ENTITY b \"c\">]>" + Envelope("", "<a/>")),
              SoapFault::Code::kSender);
    EXPECT_EQ(FaultOf(Envelope("", "<a/>", "http://schemas.xmlsoap.org/soap/envelope/")),
              SoapFault::Code::kVersionMismatch);
}

TEST(SoapRequest, RefusesUnknownHeadersThatMustBeUnderstood) {
    EXPECT_EQ(FaultOf(Envelope(R"(<v:Odd xmlns:v="urn:v" x:mustUnderstand="true"/>)", "<a/>")),
              SoapFault::Code::kMustUnderstand);
    EXPECT_NO_THROW(SoapRequest(Envelope(R"(<v:Odd xmlns:v="urn:v"/>)", "<a/>")));
}

}  // namespace
}  // namespace vms::sim
