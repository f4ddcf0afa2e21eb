// Command bodies in, result bodies out.

#include <gtest/gtest.h>

#include <climits>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "platform/VideoCommandHelper.h"

namespace {

const std::vector<std::string>& HostileBodies() {
    static const std::vector<std::string> bodies{
        "",
        "null",
        "5",
        "{\"id\": \"cut",
        "\xff\xfe\x00",
        std::string(5'000, '['),
        "{\"id\": \"" + std::string(1 << 20, 'x'),
        "[" + std::string(1 << 20, '9'),
    };
    return bodies;
}

std::list<__tagTvVideoParam> Devices(const char* body, bool expected = true) {
    std::list<__tagTvVideoParam> devices;
    EXPECT_EQ(VideoCommandHelper::CommandParse_Video(devices, body), expected) << body;
    return devices;
}

TEST(CommandParseVideo, EveryMember) {
    const auto devices = Devices(R"([{"id": "cam", "name": "Door", "uctype": "ONVIF", "devtype": 1,
        "ptype": 2, "channelnum": 3, "status": 4, "ip": "10.0.0.5", "port": 80, "httpPort": 81,
        "username": "admin", "password": "p\u00e4ss", "streamType": 5, "connectType": 6,
        "p2p": true, "enable": 0, "httpsEnable": true}])");
    ASSERT_EQ(devices.size(), 1u);
    const __tagTvVideoParam& device = devices.front();
    EXPECT_EQ(device.id, "cam");
    EXPECT_EQ(device.name, "Door");
    EXPECT_EQ(device.uctype, "ONVIF");
    EXPECT_EQ(device.devtype, 1);
    EXPECT_EQ(device.ptype, 2);
    EXPECT_EQ(device.channelnum, 3);
    EXPECT_EQ(device.status, 4);
    EXPECT_EQ(device.ip, "10.0.0.5");
    EXPECT_EQ(device.port, 80);
    EXPECT_EQ(device.httpPort, 81);
    EXPECT_EQ(device.username, "admin");
    EXPECT_EQ(device.password, "p\xc3\xa4ss");
    EXPECT_EQ(device.streamType, 5);
    EXPECT_EQ(device.connectType, 6);
    EXPECT_TRUE(device.p2p);
    EXPECT_EQ(device.enable, 0);
    EXPECT_TRUE(device.httpsEnable);
}

TEST(CommandParseVideo, ThreeShapesAndEntriesWithoutIdentifier) {
    struct Case {
        const char* body;
        std::vector<std::string> ids;
    };
    const Case cases[] = {
        {R"({"id": "a"})", {"a"}},
        {R"([{"id": "a"}, {"id": "b"}])", {"a", "b"}},
        {R"({"devs": [{"id": "a"}, {"id": "b"}]})", {"a", "b"}},
        {R"({"devs": 5, "id": "a"})", {"a"}},
        {R"([{"id": ""}, {"id": 5}, {}, 5, null, "a", [{"id": "a"}], {"id": "b"}])", {"b"}},
        {R"([{"id": "a"}, {"id": "a"}])", {"a", "a"}},
        {"[]", {}},
        {"{}", {}},
    };
    for (const Case& test : cases) {
        std::vector<std::string> ids;
        for (const auto& device : Devices(test.body))
            ids.push_back(device.id);
        EXPECT_EQ(ids, test.ids) << test.body;
    }
}

TEST(CommandParseVideo, WrongTypesKeepDefaultsAndTheListIsExtended) {
    auto devices = Devices(R"({"id": "a", "port": "80", "ip": 5, "enable": true, "p2p": 1,
        "httpsEnable": "yes", "channelnum": 2147483648, "status": 1e300, "username": null})");
    ASSERT_EQ(devices.size(), 1u);
    const __tagTvVideoParam& device = devices.front();
    EXPECT_EQ(device.port, 0);
    EXPECT_EQ(device.ip, "");
    EXPECT_EQ(device.enable, 1);
    EXPECT_FALSE(device.p2p);
    EXPECT_FALSE(device.httpsEnable);
    EXPECT_EQ(device.channelnum, 0);
    EXPECT_EQ(device.status, 0);
    EXPECT_TRUE(VideoCommandHelper::CommandParse_Video(devices, R"({"id": "b"})"));
    EXPECT_EQ(devices.size(), 2u);
    for (const std::string& body : HostileBodies())
        EXPECT_FALSE(VideoCommandHelper::CommandParse_Video(devices, body.c_str()));
    EXPECT_FALSE(VideoCommandHelper::CommandParse_Video(devices, nullptr));
    EXPECT_EQ(devices.size(), 2u);
}

TEST(CommandParseDevName, CompleteEntriesOnly) {
    using Names = std::map<std::string, std::map<int, std::string>>;
    struct Case {
        const char* body;
        Names names;
    };
    const Case cases[] = {
        {R"([{"id": "a", "channels": [{"channel": 0, "name": "Door"}, {"channel": 1, "name": ""}]},
             {"id": "b", "channels": [{"channel": 0, "name": "Yard"}]}])",
         {{"a", {{0, "Door"}, {1, ""}}}, {"b", {{0, "Yard"}}}}},
        {R"({"id": "a", "channels": [{"channel": -1, "name": "x"}]})", {{"a", {{-1, "x"}}}}},
        {R"({"id": "a", "channels": [{"channel": "0", "name": "x"}, {"name": "x"}, {"channel": 1},
             {"channel": 1, "name": 5}, 5, null]})",
         {}},
        {R"([{"id": "a", "channels": {}}, {"id": "", "channels": []}, {"channels": []}, [], 5])",
         {}},
    };
    for (const Case& test : cases) {
        Names names{{"old", {{9, "old"}}}};
        EXPECT_TRUE(VideoCommandHelper::CommandParse_DevName(names, test.body)) << test.body;
        EXPECT_EQ(names, test.names) << test.body;
    }
    Names names{{"old", {}}};
    EXPECT_FALSE(VideoCommandHelper::CommandParse_DevName(names, nullptr));
    EXPECT_TRUE(names.empty());
}

TEST(CommandParseGetPreviewUrl, MembersInTheirPlaces) {
    std::string id = "old";
    int channel = 9;
    int streamNo = 9;
    int face = 9;
    EXPECT_TRUE(VideoCommandHelper::CommandParse_GetPreviewUrl(
        id, channel, streamNo, face, R"({"id": "cam", "channel": 1, "streamNo": 2, "face": 3})"));
    EXPECT_EQ(id, "cam");
    EXPECT_EQ(std::vector<int>({channel, streamNo, face}), std::vector<int>({1, 2, 3}));
    EXPECT_TRUE(VideoCommandHelper::CommandParse_GetPreviewUrl(
        id, channel, streamNo, face,
        R"({"id": 1, "channel": "1", "streamNo": 1.5, "face": true})"));
    EXPECT_EQ(id, "");
    EXPECT_EQ(std::vector<int>({channel, streamNo, face}), std::vector<int>({0, 0, 0}));
}

TEST(CommandParsePlaybackParam, MembersInTheirPlaces) {
    int out[6] = {9, 9, 9, 9, 9, 9};
    const auto parse = [&out](const char* body) {
        return VideoCommandHelper::CommandParse_PlaybackParam(out[0], out[1], out[2], out[3],
                                                              out[4], out[5], body);
    };
    EXPECT_TRUE(parse(R"({"channel": 1, "beginTime": 1700000000, "endTime": 2147483647,
                          "streamNo": 4, "recordType": 5, "seekTime": 6})"));
    EXPECT_EQ(std::vector<int>(out, out + 6), std::vector<int>({1, 1700000000, INT_MAX, 4, 5, 6}));
    EXPECT_FALSE(parse("[1]"));
    EXPECT_EQ(std::vector<int>(out, out + 6), std::vector<int>(6, 0));
}

TEST(CommandParseRecordSearch, MembersInTheirPlaces) {
    __tagTvSearchRecordParam param;
    EXPECT_TRUE(VideoCommandHelper::CommandParse_RecordSearch(
        param, R"({"id": "cam", "channel": -1, "streamNo": 32767, "fileType": 19,
                   "startTime": 1700000000, "endTime": 1700003600})"));
    EXPECT_EQ(param.id, "cam");
    EXPECT_EQ(param.channel, -1);
    EXPECT_EQ(param.streamNo, 32767);
    EXPECT_EQ(param.fileType, 19);
    EXPECT_EQ(param.startTime, 1700000000);
    EXPECT_EQ(param.endTime, 1700003600);
    EXPECT_TRUE(VideoCommandHelper::CommandParse_RecordSearch(param, R"({"channel": 70000})"));
    EXPECT_EQ(param.id, "");
    EXPECT_EQ(param.channel, 0);
    EXPECT_EQ(param.fileType, 0);
}

TEST(CommandParse, HostileBodiesGiveDefaults) {
    std::vector<std::string> bodies = HostileBodies();
    bodies.push_back("[]");
    for (const std::string& body : bodies) {
        std::string id = "old";
        int a = 9;
        int b = 9;
        int c = 9;
        __tagTvSearchRecordParam param;
        param.fileType = 9;
        EXPECT_FALSE(VideoCommandHelper::CommandParse_GetPreviewUrl(id, a, b, c, body.c_str()));
        EXPECT_FALSE(VideoCommandHelper::CommandParse_RecordSearch(param, body.c_str()));
        EXPECT_EQ(id, "");
        EXPECT_EQ(a + b + c, 0);
        EXPECT_EQ(param.fileType, 0);
    }
}

TEST(CommandSerialize, Stream) {
    EXPECT_EQ(VideoCommandHelper::CommandSerialize_Stream("127.0.0.1", 554, "rtsp://h/\"x\"", 1),
              "{\n\t\"ip\" : \"127.0.0.1\",\n\t\"port\" : 554,\n\t\"type\" : 1,\n"
              "\t\"uri\" : \"rtsp://h/\\\"x\\\"\"\n}\n");
    EXPECT_EQ(VideoCommandHelper::CommandSerialize_Stream(nullptr, -1, nullptr, 0),
              "{\n\t\"ip\" : \"\",\n\t\"port\" : -1,\n\t\"type\" : 0,\n\t\"uri\" : \"\"\n}\n");
}

TEST(CommandSerialize, DevStatus) {
    EXPECT_EQ(VideoCommandHelper::CommandSerialize_DevStatus({}), "{\n\t\"devs\" : []\n}\n");
    EXPECT_EQ(VideoCommandHelper::CommandSerialize_DevStatus({{"a", {{-1, 1}, {0, 0}}}, {"b", {}}}),
              "{\n\t\"devs\" : \n\t[\n\t\t{\n\t\t\t\"id\" : \"a\",\n\t\t\t\"status\" : \n\t\t\t[\n"
              "\t\t\t\t{\n\t\t\t\t\t\"channel\" : -1,\n\t\t\t\t\t\"state\" : 1\n\t\t\t\t},\n"
              "\t\t\t\t{\n\t\t\t\t\t\"channel\" : 0,\n\t\t\t\t\t\"state\" : 0\n\t\t\t\t}\n"
              "\t\t\t]\n\t\t},\n\t\t{\n\t\t\t\"id\" : \"b\",\n\t\t\t\"status\" : []\n\t\t}\n"
              "\t]\n}\n");
}

TEST(CommandSerialize, RecordSearchResult) {
    EXPECT_EQ(VideoCommandHelper::CommandSerialize_RecordSearch_Result({}, false),
              "{\n\t\"records\" : []\n}\n");
    EXPECT_EQ(
        VideoCommandHelper::CommandSerialize_RecordSearch_Result({{0, 2, 10, 20, INT_MAX}}, true),
        "{\n\t\"count\" : 1,\n\t\"records\" : \n\t[\n\t\t{\n\t\t\t\"endTime\" : 20,\n"
        "\t\t\t\"fileSize\" : 2147483647,\n\t\t\t\"fileType\" : 2,\n\t\t\t\"index\" : 0,\n"
        "\t\t\t\"startTime\" : 10\n\t\t}\n\t]\n}\n");
}

}  // namespace
