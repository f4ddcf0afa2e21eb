// Record helpers, addresses, identifiers, Base64.

#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <cstdlib>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "platform/Base64.h"
#include "platform/Guid.h"
#include "platform/LocalIps.h"
#include "platform/SysCommandHelper.h"
#include "platform/bus/CommandSerial.h"

namespace {

TEST(SysCommandHelper, RequestAndResponseFields) {
    __tagTvCommand* const request = g_commandHelper.CreateRequestCommand(
        TV_CMD_SOURCE_MESSAGE, "sender", "second", "body", "fourth");
    EXPECT_EQ(request->source, "sender");
    EXPECT_EQ(request->deviceId, "second");
    EXPECT_EQ(request->body, "body");
    EXPECT_EQ(request->target, "fourth");
    EXPECT_EQ(request->result, 0);
    EXPECT_EQ(SysCommandHelper::CommandId(request), TV_CMD_SOURCE_MESSAGE);
    request->session = "session";
    __tagTvCommand* const response = g_commandHelper.CreateResponseCommand(request, -1, "text");
    const int64_t serial = request->serial;
    g_commandHelper.ReleaseCommand(request);
    EXPECT_EQ(response->source, "sender");
    EXPECT_EQ(response->target, "fourth");
    EXPECT_EQ(response->session, "session");
    EXPECT_EQ(response->deviceId, "second");
    EXPECT_EQ(response->serial, serial);
    EXPECT_EQ(response->body, "text");
    EXPECT_EQ(response->result, -1);
    g_commandHelper.ReleaseCommand(response);
}

TEST(SysCommandHelper, NullsAreEmpty) {
    __tagTvCommand* const request = SysCommandHelper::CreateRequestCommand(
        TV_CMD_DEVICE_STATUS, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(request->source + request->deviceId + request->body + request->target, "");
    __tagTvCommand* const response = SysCommandHelper::CreateResponseCommand(nullptr, 1, nullptr);
    EXPECT_EQ(response->serial, 0);
    EXPECT_EQ(response->result, 1);
    EXPECT_EQ(SysCommandHelper::CommandId(nullptr), 0);
    SysCommandHelper::ReleaseCommand(request);
    SysCommandHelper::ReleaseCommand(response);
    SysCommandHelper::ReleaseCommand(nullptr);
}

TEST(CommandSerial, CarriesAnyIdentifierAndDiffers) {
    std::set<int64_t> serials;
    for (const int id : {0, 1, 0x100100, 0x7fffffff, -1, -0x7fffffff - 1}) {
        const int64_t serial = vms::NextSerial(static_cast<__enumTvCommand>(id));
        EXPECT_EQ(vms::IdOfSerial(serial), id);
        EXPECT_GE(serial >> 32, 1);
        serials.insert(serial >> 32);
    }
    EXPECT_EQ(serials.size(), 6u);
}

class LocalIps : public testing::Test {
protected:
    void TearDown() override { unsetenv("VMS_LOCAL_IPS"); }

    static std::list<std::string> Get() {
        std::list<std::string> ips{"old"};
        GetLocalIps(ips);
        return ips;
    }
};

TEST_F(LocalIps, ListReplacesEnumeration) {
    setenv("VMS_LOCAL_IPS", " 10.0.0.1 ,,10.0.0.2,10.0.0.1, 300.1.1.1,10.1,::1,name,\t127.0.0.1\n",
           1);
    EXPECT_EQ(Get(), (std::list<std::string>{"10.0.0.1", "10.0.0.2", "127.0.0.1"}));
    setenv("VMS_LOCAL_IPS", "nonsense", 1);
    EXPECT_TRUE(Get().empty());
}

TEST_F(LocalIps, EnumeratedOnesAreDistinctAndLoopbackStandsAlone) {
    const std::list<std::string> ips = Get();
    std::set<std::string> distinct;
    bool hasLoopback = false;
    bool hasOther = false;
    for (const std::string& ip : ips) {
        in_addr address{};
        EXPECT_EQ(inet_pton(AF_INET, ip.c_str(), &address), 1) << ip;
        distinct.insert(ip);
        (ip.rfind("127.", 0) == 0 ? hasLoopback : hasOther) = true;
    }
    EXPECT_EQ(distinct.size(), ips.size());
    EXPECT_FALSE(hasLoopback && hasOther);
    setenv("VMS_LOCAL_IPS", "", 1);
    EXPECT_EQ(Get(), ips);
}

TEST(Guid, VersionFourLowerCaseAndDifferent) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string guid = GetGuid();
        ASSERT_EQ(guid.size(), 36u);
        EXPECT_EQ(guid.find_first_not_of("0123456789abcdef-"), std::string::npos) << guid;
        EXPECT_EQ(guid[14], '4');
        EXPECT_NE(std::string("89ab").find(guid[19]), std::string::npos) << guid;
        seen.insert(guid);
    }
    EXPECT_EQ(seen.size(), 100u);
}

std::string Encode(const std::string& bytes) {
    return base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                         static_cast<unsigned int>(bytes.size()));
}

TEST(Base64, PublishedVectorsAndEdges) {
    EXPECT_EQ(Encode(""), "");
    EXPECT_EQ(Encode("f"), "Zg==");
    EXPECT_EQ(Encode("fo"), "Zm8=");
    EXPECT_EQ(Encode("foo"), "Zm9v");
    EXPECT_EQ(Encode("foobar"), "Zm9vYmFy");
    EXPECT_EQ(Encode(std::string("\xff\x00\xfe", 3)), "/wD+");
    EXPECT_EQ(base64_encode(nullptr, 5), "");
}

/// Longer than what is encoded at once: no padding in between and nothing lost at the seam.
TEST(Base64, LongInputHasOneSeamlessText) {
    const size_t chunk = 3u << 24;
    const std::string text = Encode(std::string(chunk, 'a') + "b");
    ASSERT_EQ(text.size(), (chunk / 3 + 1) * 4);
    EXPECT_EQ(text.substr(text.size() - 8), "YWFhYg==");
    EXPECT_EQ(text.find('='), text.size() - 2);
}

}  // namespace
