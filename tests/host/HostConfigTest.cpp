#include "host/config/HostConfig.h"

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/text/HostError.h"
#include "tests/host/TemporaryFile.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr char kDefaultLibrary[] = "/opt/default.so";

/// The message of the error that a configuration causes, "" when it is accepted.
std::string Problem(const std::string& text) {
    const vms::host::test::TemporaryFile file(text);
    try {
        vms::host::ReadHostConfig(file.Path(), kDefaultLibrary);
        return "";
    } catch (const vms::host::HostError& error) {
        EXPECT_THAT(error.what(), HasSubstr(file.Path()));
        return error.what();
    }
}

std::string WithDevice(const std::string& members) {
    return R"({"modules": [{"name": "m", "devices": [{"id": "a"}, {)" + members + "}]}]}";
}

TEST(HostConfig, ReadsAllItDescribes) {
    const vms::host::test::TemporaryFile file(R"({
        "http": {"host": "0.0.0.0", "port": 0, "advertise": "nvr.local", "token": "t",
                 "bodyMegabytes": 16},
        "rtsp": {"port": 554},
        "modules": [
            {"name": "one", "library": "../lib/one.so", "config": {"streamserver": {"port": 1}},
             "devices": [{"id": "a", "ip": "10.0.0.5", "port": 80, "password": "p", "p2p": false}]},
            {"name": "two"}]})");
    const vms::host::HostConfig config = vms::host::ReadHostConfig(file.Path(), kDefaultLibrary);
    EXPECT_EQ(config.http.host, "0.0.0.0");
    EXPECT_EQ(config.http.port, 0);
    EXPECT_EQ(config.http.advertise, "nvr.local");
    EXPECT_EQ(config.http.token, "t");
    ASSERT_EQ(config.modules.size(), 2U);
    const auto folder = std::filesystem::path(file.Path()).parent_path();
    EXPECT_EQ(config.modules[0].library, (folder / "../lib/one.so").lexically_normal().string());
    EXPECT_EQ(config.modules[0].config, R"({"streamserver":{"port":1}})");
    EXPECT_EQ(config.modules[0].devices[0]["port"], 80);
    EXPECT_EQ(config.modules[1].library, kDefaultLibrary);
    EXPECT_EQ(config.modules[1].config, "");
    EXPECT_EQ(config.http.bodyMegabytes, 16);
    ASSERT_TRUE(config.rtsp);
    EXPECT_EQ(config.rtsp->port, 554);
    EXPECT_EQ(config.rtsp->host, "");
}

TEST(HostConfig, SaysWhereItIsWrongAndWhatWasExpected) {
    EXPECT_THAT(Problem(R"({"modules": [{"name": "two", "colour": "red"}]})"),
                HasSubstr("modules[0].colour: no such member; known are name, library, config"));
    EXPECT_THAT(Problem(R"({"http": {"prot": 80}, "modules": [{"name": "m"}]})"),
                HasSubstr("http.prot: no such member"));
    EXPECT_THAT(Problem(R"({"rtsp": {"ports": 1}, "modules": [{"name": "m"}]})"),
                HasSubstr("rtsp.ports: no such member"));
    EXPECT_THAT(Problem(WithDevice(R"("id": "b", "passwort": "x")")),
                HasSubstr("modules[0].devices[1].passwort: no such member"));
    EXPECT_THAT(Problem("{\"modules\": [}"), HasSubstr("Line 1, Column 14"));
    EXPECT_THAT(Problem("{} x"), HasSubstr("Line 1"));
    EXPECT_NE(Problem(std::string(5000, '[')), "");
    EXPECT_THAT(Problem("[]"), HasSubstr("expected an object, found an array"));
    EXPECT_THAT(Problem("{}"), HasSubstr("\"modules\" is missing"));
    EXPECT_THAT(Problem(R"({"modules": []})"), HasSubstr("modules: must name at least one"));
    EXPECT_THAT(Problem(R"({"modules": [3]})"), HasSubstr("modules[0]: expected an object"));
    EXPECT_THAT(Problem(R"({"modules": [{}]})"), HasSubstr("modules[0]: the member \"name\""));
    EXPECT_THAT(Problem(R"({"modules": [{"name": "m", "config": "x"}]})"),
                HasSubstr("modules[0].config: expected an object, found a string"));
    EXPECT_THAT(Problem(R"({"http": {"port": 65536}, "modules": [{"name": "m"}]})"),
                HasSubstr("http.port: expected an integer from 0 to 65535"));
    EXPECT_THAT(Problem(WithDevice(R"("ip": "10.0.0.5")")),
                HasSubstr("modules[0].devices[1]: the member \"id\" is missing"));
    EXPECT_THAT(Problem(WithDevice(R"("id": "b", "port": 80.0)")),
                HasSubstr("modules[0].devices[1].port: expected an integer"));
    EXPECT_THAT(Problem(WithDevice(R"("id": "b", "httpsEnable": 1)")),
                HasSubstr("modules[0].devices[1].httpsEnable: expected true or false"));
    EXPECT_THAT(Problem(WithDevice(R"("id": "b", "password": 7719)")),
                AllOf(HasSubstr("password: expected a string"), Not(HasSubstr("7719"))));
}

TEST(HostConfig, NamesAndIdentifiersAreUnique) {
    EXPECT_THAT(Problem(R"({"modules": [{"name": "m"}, {"name": "m"}]})"),
                HasSubstr("modules[1].name: a second module named \"m\""));
    EXPECT_THAT(Problem(R"({"modules": [{"name": "m", "devices": [{"id": "a"}]},
                                        {"name": "n", "devices": [{"id": "a"}]}]})"),
                AllOf(HasSubstr("modules[1].devices[0].id"), HasSubstr("modules[0].devices[0]")));
}

}  // namespace
