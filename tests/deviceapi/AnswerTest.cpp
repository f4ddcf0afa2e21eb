// Answers of devices: what is taken, what is passed over, what fails.
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "deviceapi/Tavero_Http_Encode.h"

namespace {

using Encode = Tavero_Http_Encode;

/// Every parser's outputs, with values that tell when one was written.
struct Outputs {
    std::string challenge = "old", salt = "old", session = "old", text = "old", name = "old";
    int iterations = -7;
    bool enable = true;
    std::list<__tagTvRecordFile> files = std::list<__tagTvRecordFile>(2);
    __tagTvDevicePermission permission{{5, 5, 5, 5, 5, 5, 5, 5}, {}};

    auto Scalars() const {
        return std::tie(challenge, salt, session, text, name, iterations, enable);
    }
};

using Parser = std::function<int(const char*, Outputs&)>;

const Parser kParsers[] = {
    [](const char* text, Outputs&) { return Encode::DeSerializeCode(text); },
    [](const char* text, Outputs&) { return Encode::DeSerializeHeartbeat(text); },
    [](const char* text, Outputs& o) {
        return Encode::DeSerializeLoginCapabilities(text, o.challenge, o.salt, o.session,
                                                    o.iterations, o.enable);
    },
    [](const char* text, Outputs& o) { return Encode::DeSerializeLogin(text, o.session); },
    [](const char* text, Outputs& o) { return Encode::DeSerializeOsdGet(text, o.text); },
    [](const char* text, Outputs& o) { return Encode::DeSerializeVersion(text, o.text, o.name); },
    [](const char* text, Outputs& o) {
        return Encode::DeSerializeCapability(text, o.salt, o.iterations, o.enable);
    },
    [](const char* text, Outputs& o) { return Encode::DeSerializePermission(text, o.permission); },
    [](const char* text, Outputs& o) {
        return Encode::DeSerializePermissionV2(text, o.permission);
    },
    [](const char* text, Outputs& o) { return Encode::DeSerializeSearchRecord_Ipc(text, o.files); },
    [](const char* text, Outputs& o) { return Encode::DeSerializeSearchRecord_Nvr(text, o.files); },
};
constexpr size_t kFirstList = 9;

const Parser& kLoginCapabilities = kParsers[2];
const Parser& kCapability = kParsers[6];

/// Enough in "data" that every parser but the camera's record list would write something.
std::string Answer(const std::string& code, const std::string& tail = "") {
    return R"({"code":)" + code + R"(,"data":{"sessionID":"s","cookie":"c","text":"t",
        "firmwareVersion":"1","encryptionType":["e"],"param":{"salt":"x","iterations":1,
        "enableIteration":false,"challenge":"y","e":{"salt":"z","iterations":2,
        "enableIteration":false}},"remotePermission":"3","channelPermission":[{"channel":1,
        "permission":"2"}],"itemList":[{"fileType":1}]}})" +
           tail;
}

void ExpectUntouched(const Outputs& o) {
    EXPECT_EQ(o.Scalars(), Outputs().Scalars());
    EXPECT_EQ(std::vector<int>(o.permission.remote, o.permission.remote + 8),
              std::vector<int>(8, 5));
    EXPECT_TRUE(o.permission.channels.empty());
}

TEST(Envelope, EveryParserRefusesAndLeavesItsOutputs) {
    const std::string deep(100000, '[');
    const std::string whole = Answer("0");
    for (const std::string& text :
         {std::string(), std::string("nonsense"), std::string("{}"), std::string("[0]"),
          std::string("0"), std::string("null"), whole.substr(0, whole.size() - 1), deep,
          R"({"code":0,"data":)" + deep, Answer("\"0\""), Answer("1"), Answer("-1"), Answer("true"),
          Answer("null"), Answer("[0]"), Answer("{\"code\":0}"), Answer("4294967296"),
          Answer("1e999"), std::string(R"({"Code":0,"data":{"text":"t"}})")}) {
        for (size_t i = 0; i < std::size(kParsers); ++i) {
            Outputs o;
            EXPECT_EQ(kParsers[i](text.c_str(), o), -1) << i << " of " << text.substr(0, 200);
            ExpectUntouched(o);
            EXPECT_EQ(o.files.size(), i < kFirstList ? 2u : 0u) << i;
        }
    }
    for (const Parser& parser : kParsers) {
        Outputs o;
        EXPECT_EQ(parser(nullptr, o), -1);
    }
}

TEST(Envelope, EveryParserAcceptsItsAnswer) {
    for (const std::string& text : {Answer("0"), Answer("0.0"), Answer("0", " trailing")}) {
        for (size_t i = 0; i < std::size(kParsers); ++i) {
            Outputs o;
            EXPECT_EQ(kParsers[i](text.c_str(), o), 0) << i << " of " << text;
        }
    }
}

/// Without usable data some parsers are content with the envelope, the others are not.
TEST(Envelope, MissingOrForeignData) {
    const std::vector<int> expected{0, 0, -1, -1, 0, -1, -1, 0, 0, 0, 0};
    for (const char* text :
         {R"({"code":0})", R"({"code":0,"data":null})", R"({"code":0,"data":[]})",
          R"({"code":0,"data":"x"})", R"({"code":0,"data":[1,"a",[]]})",
          R"({"code":0,"Data":{"cookie":"c"}})"}) {
        std::vector<int> results;
        for (const Parser& parser : kParsers) {
            Outputs o;
            results.push_back(parser(text, o));
            ExpectUntouched(o);
        }
        EXPECT_EQ(results, expected) << text;
    }
}

TEST(LoginCapabilities, TakesWhatHasTheRightType) {
    Outputs o;
    EXPECT_EQ(kLoginCapabilities(R"({"code":0,"data":{"sessionID":"id","param":{"challenge":"ch",
        "iterations":100,"enableIteration":false,"salt":"sa"}}})",
                                 o),
              0);
    EXPECT_EQ(std::tie(o.session, o.challenge, o.salt), std::make_tuple("id", "ch", "sa"));
    EXPECT_EQ(o.iterations, 100);
    EXPECT_FALSE(o.enable);

    o = {};
    EXPECT_EQ(kLoginCapabilities(R"({"code":0,"data":{"sessionID":1,"param":{"challenge":null,
        "iterations":"5","enableIteration":"false","salt":{},"Salt":"S","challengE":"C"}}})",
                                 o),
              0);
    ExpectUntouched(o);

    EXPECT_EQ(kLoginCapabilities(R"({"code":0,"data":{"sessionID":"id","param":[]}})", o), -1);
    EXPECT_EQ(o.session, "id");
}

TEST(LoginCapabilities, FlagAndCountInTheirForms) {
    const std::vector<std::pair<const char*, bool>> flags{
        {"true", true}, {"false", false}, {"1", true}, {"0", false}, {"-3", true}};
    for (const auto& [json, expected] : flags) {
        Outputs o;
        o.enable = !expected;
        const std::string text =
            std::string(R"({"code":0,"data":{"param":{"enableIteration":)") + json + "}}}";
        EXPECT_EQ(kLoginCapabilities(text.c_str(), o), 0);
        EXPECT_EQ(o.enable, expected) << json;
    }
    const std::vector<std::pair<const char*, int>> counts{
        {"2.9", 2}, {"-4", -4}, {"1e30", INT_MAX}, {"-1e30", INT_MIN}};
    for (const auto& [json, expected] : counts) {
        Outputs o;
        const std::string text =
            std::string(R"({"code":0,"data":{"param":{"iterations":)") + json + "}}}";
        EXPECT_EQ(kLoginCapabilities(text.c_str(), o), 0);
        EXPECT_EQ(o.iterations, expected) << json;
    }
}

TEST(Login, SessionWinsOverCookie) {
    const std::vector<std::pair<const char*, const char*>> cases{
        {R"({"cookie":"c"})", "c"},
        {R"({"Api-Session":"s"})", "s"},
        {R"({"Api-Session":"s","cookie":"c"})", "s"},
        {R"({"cookie":"c","Api-Session":5})", "c"},
        {R"({"cookie":""})", ""}};
    for (const auto& [data, expected] : cases) {
        std::string session = "old";
        const std::string text = std::string(R"({"code":0,"data":)") + data + "}";
        EXPECT_EQ(Encode::DeSerializeLogin(text.c_str(), session), 0) << data;
        EXPECT_EQ(session, expected) << data;
    }
    std::string session = "old";
    EXPECT_EQ(Encode::DeSerializeLogin(
                  R"({"code":0,"cookie":"c","data":{"Cookie":"c","api-session":"s"}})", session),
              -1);
    EXPECT_EQ(session, "old");
}

TEST(Information, OsdTextAndVersion) {
    std::string text;
    EXPECT_EQ(
        Encode::DeSerializeOsdGet("{\"code\":0,\"data\":{\"text\":\"T\u00fcr\\u00fc\"}}", text), 0);
    EXPECT_EQ(text, "T\u00fcr\u00fc");

    std::string version = "old";
    std::string name = "old";
    EXPECT_EQ(Encode::DeSerializeVersion(R"({"code":0,"data":{"devName":"n","firmwareVersion":1}})",
                                         version, name),
              0);
    EXPECT_EQ(version + name, "oldn");
    EXPECT_EQ(
        Encode::DeSerializeVersion(R"({"code":0,"data":{"firmwareVersion":"6"}})", version, name),
        0);
    EXPECT_EQ(version + name, "6n");
}

TEST(Capability, FirstSchemeNamesTheParameters) {
    Outputs o;
    EXPECT_EQ(kCapability(R"({"code":0,"data":{"encryptionType":["b","a"],"param":{
        "a":{"salt":"A","iterations":1,"enableIteration":true},
        "b":{"salt":"B","iterations":2,"enableIteration":0}}}})",
                          o),
              0);
    EXPECT_EQ(std::tie(o.salt, o.iterations, o.enable), std::make_tuple("B", 2, false));

    for (const char* data :
         {R"({"encryptionType":["c","a"],"param":{"a":{"salt":"A"}}})",
          R"({"encryptionType":["A"],"param":{"a":{"salt":"A"}}})",
          R"({"encryptionType":[],"param":{"a":{"salt":"A"}}})",
          R"({"encryptionType":[1,"a"],"param":{"a":{"salt":"A"}}})",
          R"({"encryptionType":"a","param":{"a":{"salt":"A"}}})",
          R"({"encryptionType":{"x":"a"},"param":{"a":{"salt":"A"}}})",
          R"({"encryptionType":["a"],"param":{"a":["salt"]}})", R"({"encryptionType":["a"]})"}) {
        Outputs untouched;
        const std::string text = std::string(R"({"code":0,"data":)") + data + "}";
        EXPECT_EQ(kCapability(text.c_str(), untouched), -1) << data;
        ExpectUntouched(untouched);
    }
}

using Fields = std::tuple<int, int, int, int, int>;

std::vector<Fields> FieldsOf(const std::list<__tagTvRecordFile>& files) {
    std::vector<Fields> fields;
    for (const __tagTvRecordFile& f : files)
        fields.emplace_back(f.index, f.fileType, f.startTime, f.endTime, f.fileSize);
    return fields;
}

/// The same items in both forms: only the type of a size differs.
constexpr char kItems[] = R"([
    {"fileType":1,"startTime":"100","endTime":"200","fileSize":"300"},
    5, "x", [], null,
    {"fileType":16,"startTime":"7 s","endTime":"x","fileSize":400},
    {"fileType":"2","startTime":1,"EndTime":"2"},
    {"startTime":"99999999999999999999","endTime":"-99999999999","fileSize":4294967296}])";

TEST(Records, CameraForm) {
    std::list<__tagTvRecordFile> files(3);
    const std::string text = std::string(R"({"code":0,"data":)") + kItems + "}";
    EXPECT_EQ(Encode::DeSerializeSearchRecord_Ipc(text.c_str(), files), 0);
    EXPECT_EQ(FieldsOf(files), (std::vector<Fields>{{0, 1, 100, 200, 300},
                                                    {1, 16, 7, 0, 0},
                                                    {2, 0, 0, 0, 0},
                                                    {3, 0, INT_MAX, INT_MIN, 0}}));
    EXPECT_EQ(Encode::DeSerializeSearchRecord_Nvr(text.c_str(), files), 0);
    EXPECT_TRUE(files.empty());
}

TEST(Records, RecorderForm) {
    std::list<__tagTvRecordFile> files(3);
    const std::string text = std::string(R"({"code":0,"data":{"itemList":)") + kItems + "}}";
    EXPECT_EQ(Encode::DeSerializeSearchRecord_Nvr(text.c_str(), files), 0);
    EXPECT_EQ(FieldsOf(files), (std::vector<Fields>{{0, 1, 100, 200, 0},
                                                    {1, 16, 7, 0, 400},
                                                    {2, 0, 0, 0, 0},
                                                    {3, 0, INT_MAX, INT_MIN, INT_MAX}}));
    EXPECT_EQ(Encode::DeSerializeSearchRecord_Ipc(text.c_str(), files), 0);
    EXPECT_TRUE(files.empty());
}

using Permission = int (*)(const char*, __tagTvDevicePermission&);

/// The remote flags after a mask, one digit each; 5 = left alone.
std::string Remote(Permission parse, const std::string& mask) {
    Outputs o;
    const std::string text = R"({"code":0,"data":{"remotePermission":)" + mask + "}}";
    EXPECT_EQ(parse(text.c_str(), o.permission), 0);
    std::string flags;
    for (const int32_t flag : o.permission.remote)
        flags += std::to_string(flag);
    return flags;
}

TEST(Permissions, RemoteFlagsBitByBit) {
    const std::vector<std::tuple<const char*, const char*, const char*>> cases{
        {R"("0")", "00500055", "00000000"},
        {R"("255")", "11511155", "11111111"},
        {R"("1")", "10500055", "10000000"},
        {R"("2")", "01500055", "01000000"},
        {R"("4")", "00500055", "00100000"},
        {R"("8")", "00500055", "00010000"},
        {R"("16")", "00510055", "00001000"},
        {R"("32")", "00500155", "00000100"},
        {R"("64")", "00500055", "00000010"},
        {R"("128")", "00501055", "00000001"},
        {R"("x")", "00500055", "00000000"},
        {R"("-1")", "00500055", "00000000"},
        {R"("0x3")", "00500055", "00000000"},
        {R"("4294967297")", "10500055", "10000000"},
        {"255", "55555555", "55555555"},
        {"null", "55555555", "55555555"},
        // Up to the last bit of 64, and what begins like a number.
        {R"("9223372036854775808")", "00500055", "00000000"},
        {R"("18446744073709551615")", "11511155", "11111111"},
        {R"(" \t\n3rd")", "11500055", "11000000"},
        // Beyond it, and with any sign, nothing is granted.
        {R"("18446744073709551616")", "00500055", "00000000"},
        {R"("99999999999999999999999")", "00500055", "00000000"},
        {R"("-18446744073709551361")", "00500055", "00000000"},
        {R"("+255")", "00500055", "00000000"},
        {R"("- 1")", "00500055", "00000000"},
        {R"("")", "00500055", "00000000"}};
    for (const auto& [mask, first, second] : cases) {
        EXPECT_EQ(Remote(Encode::DeSerializePermission, mask), first) << mask;
        EXPECT_EQ(Remote(Encode::DeSerializePermissionV2, mask), second) << mask;
    }
}

/// "channel:flags" of each entry behind one that was there before.
std::string Channels(Permission parse, const char* items) {
    __tagTvDevicePermission permission;
    permission.channels.emplace_back();
    const std::string text =
        std::string(R"({"code":0,"data":{"channelPermission":)") + items + "}}";
    EXPECT_EQ(parse(text.c_str(), permission), 0);
    std::string entries;
    for (const __tagTvChannelPermission& entry : permission.channels) {
        entries += std::to_string(entry.channel) + ":";
        for (const int32_t flag : entry.flag)
            entries += std::to_string(flag);
        entries += " ";
    }
    return entries;
}

TEST(Permissions, ChannelFlagsBitByBit) {
    EXPECT_EQ(Channels(Encode::DeSerializePermission, R"([{"channel":0,"permission":"2"},
        {"channel":1,"permission":"8"},{"channel":2,"permission":"32"},
        {"channel":3,"permission":"128"},{"channel":4,"permission":"983125"}])"),
              "-1:0000 0:1000 1:0100 2:0010 3:0001 4:0000 ");
    EXPECT_EQ(Channels(Encode::DeSerializePermissionV2, R"([{"channel":0,"permission":"65536"},
        {"channel":1,"permission":"131072"},{"channel":2,"permission":"262144"},
        {"channel":3,"permission":"524288"},{"channel":4,"permission":"65535"}])"),
              "-1:0000 0:1000 1:0100 2:0010 3:0001 4:0000 ");
}

TEST(Permissions, ChannelsThatAreNoneArePassedOver) {
    constexpr char kMixed[] = R"([{"permission":"255"},{"channel":-1,"permission":"255"},
        {"channel":"1","permission":"255"},{"channel":2},{"channel":3,"permission":255},5,[],null,
        {"channel":9,"permission":""},{"channel":9,"permission":"170"},
        {"channel":9,"permission":"18446744073709551616"}])";
    EXPECT_EQ(Channels(Encode::DeSerializePermission, kMixed), "-1:0000 9:0000 9:1111 9:0000 ");
    EXPECT_EQ(Channels(Encode::DeSerializePermission, R"({"channel":1,"permission":"2"})"),
              "-1:0000 ");
}

}  // namespace
