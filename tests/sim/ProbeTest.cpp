#include "sim/discovery/Probe.h"

#include <gtest/gtest.h>

namespace vms::sim {
namespace {

struct Parts {
    std::string soap = "http://www.w3.org/2003/05/soap-envelope";
    std::string action = "http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe";
    std::string network = "http://www.onvif.org/ver10/network/wsdl";
    std::string types = "<d:Types> q:NetworkVideoTransmitter </d:Types>";
};

Probe Parse(const Parts& parts) {
    return ParseProbe("<S:Envelope xmlns:S='" + parts.soap +
                      "' xmlns:a='http://schemas.xmlsoap.org/ws/2004/08/addressing'"
                      " xmlns:d='http://schemas.xmlsoap.org/ws/2005/04/discovery' xmlns:q='" +
                      parts.network +
                      "'><S:Header><a:MessageID>urn:uuid:1</a:MessageID><a:Action>" + parts.action +
                      "</a:Action></S:Header><S:Body><d:Probe>" + parts.types +
                      "</d:Probe></S:Body></S:Envelope>");
}

TEST(Probe, IsAnsweredForTransmittersByWhateverPrefix) {
    const Probe probe = Parse({});
    EXPECT_TRUE(probe.valid) << probe.reason;
    EXPECT_EQ(probe.messageId, "urn:uuid:1");
    EXPECT_EQ(probe.types, "q:NetworkVideoTransmitter");
}

TEST(Probe, WithoutTypesAsksEverybody) {
    Parts parts;
    for (const char* types : {"", "<d:Types/>"}) {
        parts.types = types;
        EXPECT_TRUE(Parse(parts).valid) << types;
    }
}

TEST(Probe, IsIgnoredWhenItIsForOthers) {
    Parts printer;
    printer.network = "http://schemas.example/print";
    EXPECT_EQ(Parse(printer).reason, "types do not match");
    Parts oldSoap;
    oldSoap.soap = "http://schemas.xmlsoap.org/soap/envelope/";
    EXPECT_EQ(Parse(oldSoap).reason, "not a SOAP 1.2 envelope");
    Parts hello;
    hello.action = "http://schemas.xmlsoap.org/ws/2005/04/discovery/Hello";
    EXPECT_EQ(Parse(hello).reason, "action is not Probe");
    EXPECT_EQ(ParseProbe("\x01\x02<").reason, "not XML");
}

}  // namespace
}  // namespace vms::sim
