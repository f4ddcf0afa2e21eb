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
        "whep": {"players": 3, "host": "10.0.0.9", "firstPort": 50000, "lastPort": 50100},
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
    EXPECT_EQ(config.whep.players, 3);
    EXPECT_EQ(config.whep.host, "10.0.0.9");
    EXPECT_EQ(config.whep.firstPort, 50000);
    EXPECT_EQ(config.whep.lastPort, 50100);
    EXPECT_TRUE(config.whep.isNamed);
    ASSERT_TRUE(config.rtsp);
    EXPECT_EQ(config.rtsp->port, 554);
    EXPECT_EQ(config.rtsp->host, "");
}

TEST(HostConfig, TlsIsOfFilesOrOfOurOwnMaking) {
    const auto read = [](const std::string& tls) {
        const vms::host::test::TemporaryFile file(R"({"state": "kept", "http": {"tls": )" + tls +
                                                  R"(}, "modules": [{"name": "m"}]})");
        return vms::host::ReadHostConfig(file.Path(), kDefaultLibrary);
    };
    const vms::host::HostConfig files = read(R"({"certificate": "/a/c.pem", "key": "k.pem"})");
    EXPECT_EQ(files.http.tls->certificate, "/a/c.pem");
    EXPECT_EQ(std::filesystem::path(files.http.tls->key).parent_path(),
              std::filesystem::path(files.state).parent_path());
    EXPECT_TRUE(read(R"("self-signed")").http.tls->IsSelfSigned());
    const auto problem = [](const std::string& tls) {
        return Problem(R"({"http": {"tls": )" + tls + R"(}, "modules": [{"name": "m"}]})");
    };
    EXPECT_THAT(problem(R"("self-signed")"), HasSubstr("\"state\", which is missing"));
    EXPECT_THAT(problem(R"("on")"), HasSubstr("http.tls: expected an object or \"self-signed\""));
    EXPECT_THAT(problem("true"), HasSubstr("http.tls: expected an object"));
    EXPECT_THAT(problem(R"({"certificate": "c"})"), HasSubstr("\"key\" is missing"));
    EXPECT_THAT(problem(R"({"certificate": "", "key": "k"})"), HasSubstr("http.tls.certificate"));
    EXPECT_THAT(problem(R"({"certificate": "c", "key": "k", "ca": "x"})"), HasSubstr("no such"));
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
    EXPECT_THAT(Problem(R"({"whep": {"firstPort": 9, "lastPort": 8}, "modules": [{"name": "m"}]})"),
                HasSubstr("whep: \"firstPort\" and \"lastPort\" must name a range"));
    EXPECT_THAT(Problem(R"({"whep": {"lastPort": 8}, "modules": [{"name": "m"}]})"),
                HasSubstr("must name a range"));
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

TEST(HostConfig, SecretsMayStandElsewhere) {
    const vms::host::test::TemporaryFile secret("from a file\r\nmore");
    setenv("VMS_TEST_SECRET", "from the environment", 1);
    const vms::host::test::TemporaryFile file(R"({
        "http": {"token": {"file": ")" + secret.Path() +
                                              R"("}},
        "state": "kept",
        "users": [{"name": "anna", "role": "operator", "password": {"env": "VMS_TEST_SECRET"}},
                  {"name": "bert", "role": "viewer", "password": "here"}],
        "modules": [{"name": "one"}]})");
    const vms::host::HostConfig config = vms::host::ReadHostConfig(file.Path(), kDefaultLibrary);
    EXPECT_EQ(config.http.token, "from a file");
    ASSERT_EQ(config.users.size(), 2U);
    EXPECT_EQ(config.users[0].password, "from the environment");
    EXPECT_EQ(config.users[0].role, vms::host::Role::kOperator);
    EXPECT_EQ(config.users[1].password, "here");
    const auto folder = std::filesystem::path(file.Path()).parent_path();
    EXPECT_EQ(config.state, (folder / "kept").string());
    EXPECT_EQ(vms::host::ReadStateFolder(file.Path()), config.state);

    unsetenv("VMS_TEST_SECRET");
    EXPECT_THAT(Problem(R"({"http": {"token": {"env": "VMS_TEST_SECRET"}}, "modules": []})"),
                HasSubstr("http.token: the environment variable VMS_TEST_SECRET is not set"));
    EXPECT_THAT(Problem(R"({"http": {"token": {"file": "/dev/null"}}, "modules": []})"),
                HasSubstr("holds no text"));
    for (const char* wrong : {"5", "{}", R"({"file": 5})", R"({"file": "", "env": ""})",
                              R"({"path": "x"})", R"({"file": "/nowhere/at all"})"})
        EXPECT_NE(Problem(std::string(R"({"http": {"token": )") + wrong +
                          R"(}, "modules": [{"name": "m"}]})"),
                  "")
            << wrong;
    const auto user = [](const std::string& members) {
        return Problem(R"({"users": [{"name": "a", "role": "admin", "password": "p"}, {)" +
                       members + R"(}], "modules": [{"name": "m"}]})");
    };
    EXPECT_THAT(user(R"("name": "a", "role": "admin", "password": "p")"), HasSubstr("second user"));
    EXPECT_THAT(user(R"("name": "b", "role": "root", "password": "p")"),
                HasSubstr("users[1].role: must be viewer, operator or admin"));
    EXPECT_THAT(user(R"("name": "b", "role": "admin")"), HasSubstr("needs a password"));
}

}  // namespace
