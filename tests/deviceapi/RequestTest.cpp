// URLs and request bodies, to the byte.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "deviceapi/Tavero_Http_Encode.h"

namespace {

using Encode = Tavero_Http_Encode;
using WithScheme = std::string (*)(const char*, int, bool);
using HttpOnly = std::string (*)(const char*, int);

struct SchemeCase {
    WithScheme build;
    const char* path;
    bool cut;
};

const SchemeCase kWithScheme[] = {
    {Encode::GetUrlLoginCapabilities, "/api/session/login-capabilities", false},
    {Encode::GetUrlLogin, "/api/session/login", true},
    {Encode::GetUrlLogout, "/api/session/logout", false},
    {Encode::GetUrlHeartbeat, "/api/session/heart-beat", false},
    {Encode::GetUrlDevInfo, "/api/system/device-info", true},
    {Encode::GetUrlDeviceCapabilities_Ipc_Type, "/api/system/platform-capabilities", false},
    {Encode::GetUrlDeviceCapabilities_Ipc_Ver1, "/api/system/capabilities", false},
    {Encode::GetUrlDeviceCapabilities_Ipc_Ver6, "/api/system/capability", false},
    {Encode::GetUrlRecordEncode, "/api/record/record-encode-info", false},
    {Encode::GetUrlVideoEncode, "/api/video/video-encode", false},
    {Encode::GetUrlSystemTime, "/api/system/system-time", false},
    {Encode::GetUrlSearchRecord, "/api/record/record-list", false},
    {Encode::GetUrlUserManager, "/api/system/user-manager", true},
    {Encode::GetUrlCapability, "/api/security/capability", true},
};

struct HttpCase {
    HttpOnly build;
    const char* path;
};

const HttpCase kHttpOnly[] = {
    {Encode::GetUrlOsdGet, "/api/image/osd"},
    {Encode::GetUrlVersion, "/api/system/device-info"},
    {Encode::GetUrlPtzControl_Ipc, "/api/image/ptz-ctrl"},
    {Encode::GetUrlPtzControl_Nvr, "/api/channel/ptz-control"},
    {Encode::GetUrlPtzZoomFocus_Ipc, "/api/image/zoom-focus"},
    {Encode::GetUrlPtzCruise_Ipc, "/api/image/ptz-cruise"},
    {Encode::GetUrlPtzCruise_Nvr, "/api/channel/ptz-cruise"},
    {Encode::GetManualAlarm_Ipc, "/api/event/manual-alarm"},
    {Encode::GetManualAlarm_NVR, "/api/channel/manual-alarm"},
};

TEST(Urls, SchemeAddressPortPath) {
    for (const SchemeCase& c : kWithScheme) {
        EXPECT_EQ(c.build("10.1.2.3", 443, true), std::string("https://10.1.2.3:443") + c.path);
        EXPECT_EQ(c.build("cam", 80, false), std::string("http://cam:80") + c.path);
    }
    for (const HttpCase& c : kHttpOnly)
        EXPECT_EQ(c.build("10.1.2.3", 8080), std::string("http://10.1.2.3:8080") + c.path);
}

TEST(Urls, OddArgumentsAreWrittenAsTheyAre) {
    for (const SchemeCase& c : kWithScheme) {
        EXPECT_EQ(c.build("%s%n", -1, false), std::string("http://%s%n:-1") + c.path);
        EXPECT_EQ(c.build(nullptr, INT_MIN, true), std::string("https://:-2147483648") + c.path);
    }
    for (const HttpCase& c : kHttpOnly) {
        EXPECT_EQ(c.build("%d", -1), std::string("http://%d:-1") + c.path);
        EXPECT_EQ(c.build(nullptr, 0), std::string("http://:0") + c.path);
    }
}

/// At the length that just fits, one more, and far more.
TEST(Urls, OnlySomeAreCutAt255Bytes) {
    for (const SchemeCase& c : kWithScheme) {
        const size_t fits = 255 - std::string("https://:1").size() - std::string(c.path).size();
        for (const size_t length : {fits, fits + 1, size_t{5000}}) {
            const std::string ip(length, 'a');
            const std::string whole = "https://" + ip + ":1" + c.path;
            EXPECT_EQ(c.build(ip.c_str(), 1, true), c.cut ? whole.substr(0, 255) : whole);
        }
    }
    const std::string ip(300, 'b');
    for (const HttpCase& c : kHttpOnly)
        EXPECT_EQ(c.build(ip.c_str(), 1), "http://" + ip.substr(0, 248)) << c.path;
}

TEST(RequestBodies, OfTheSession) {
    EXPECT_EQ(Encode::GetLoginCapabilitiesRequestData("admin"),
              R"({"action":"get","data":{"username":"admin"}})");
    EXPECT_EQ(Encode::GetLoginRequestData("u", "p", "s", "d"),
              R"({"action":"set","data":{"username":"u","loginEncryptionType":"sha256-1",)"
              R"("password":"p","sessionID":"s","datetime":"d"}})");
    EXPECT_EQ(Encode::GetLogoutRequestData("c"), R"({"action":"set","data":{"cookie":"c"}})");
    EXPECT_EQ(Encode::GetHeartbeatRequestData("c"),
              R"({"action":"set","data":{"cookie":"c", "Api-Session":"c"}})");
    EXPECT_EQ(Encode::GetOsdGetRequestData(), R"({ "action": "get", "data" : null })");
    EXPECT_EQ(Encode::GetVersionRequestData(), R"({"action":"get"})");
}

TEST(RequestBodies, TextsOfTheSessionAreVerbatimAndOfAnyLength) {
    EXPECT_EQ(Encode::GetLoginCapabilitiesRequestData("a\"\\%s\n"),
              "{\"action\":\"get\",\"data\":{\"username\":\"a\"\\%s\n\"}}");
    const std::string cookie(5000, 'c');
    EXPECT_EQ(Encode::GetLogoutRequestData(cookie.c_str()),
              R"({"action":"set","data":{"cookie":")" + cookie + R"("}})");
    EXPECT_EQ(Encode::GetLoginRequestData(nullptr, nullptr, nullptr, nullptr),
              R"({"action":"set","data":{"username":"","loginEncryptionType":"sha256-1",)"
              R"("password":"","sessionID":"","datetime":""}})");
    EXPECT_EQ(Encode::GetHeartbeatRequestData(nullptr),
              R"({"action":"set","data":{"cookie":"", "Api-Session":""}})");
}

TEST(RequestBodies, ChannelNameIsAnArray) {
    EXPECT_EQ(Encode::SetChannelNameRequestData("gate \"1\""),
              "[\"set\", {\n\t\t\"devName\":\t\"gate \\\"1\\\"\"\n\t}]");
    EXPECT_EQ(Encode::SetChannelNameRequestData(nullptr),
              "[\"set\", {\n\t\t\"devName\":\t\"\"\n\t}]");
}

TEST(RequestBodies, RecordSearch) {
    EXPECT_EQ(Encode::GetSearchRecordRequestData_Ipc(19, 1700000000, -1),
              "{\n\t\"action\":\t\"get\",\n\t\"data\":\t{\n\t\t\"fileType\":\t19,\n"
              "\t\t\"startTime\":\t\"1700000000\",\n\t\t\"endTime\":\t\"-1\"\n\t}\n}");
    EXPECT_EQ(Encode::GetSearchRecordRequestData_Nvr(3, 1, -2, INT_MIN, INT_MAX),
              "{\n\t\"action\":\t\"get\",\n\t\"data\":\t{\n\t\t\"channel\":\t3,\n"
              "\t\t\"streamNo\":\t1,\n\t\t\"pageIndex\":\t0,\n\t\t\"pageItems\":\t4000,\n"
              "\t\t\"fileType\":\t-2,\n\t\t\"startTime\":\t\"-2147483648\",\n"
              "\t\t\"endTime\":\t\"2147483647\"\n\t}\n}");
}

}  // namespace
