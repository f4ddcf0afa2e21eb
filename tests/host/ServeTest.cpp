// `vmshost serve` as a process of its own: its start, its signals and its end.
#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "platform/Json.h"
#include "tests/host/HostRun.h"
#include "tests/host/TemporaryFolder.h"
#include "tests/support/TestHttp.h"
#include "tests/support/TestPlayer.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
namespace test = vms::host::test;
using vms::host::test::HostRun;
using vms::host::test::TemporaryFile;
using vms::test::Fetch;

constexpr auto kPatience = 60s;

std::string Config(const std::string& devices, const std::string& settings = "{}", int port = 0) {
    return std::string(R"({"http": {"port": )") + std::to_string(port) +
           R"(}, "modules": [{"name": "fake", "library": ")" + FAKE_MODULE + R"(", "config": )" +
           settings + R"(, "devices": [)" + devices + "]}]}";
}

std::string Device(const std::string& id, const std::string& ip = "10.0.0.5") {
    return R"({"id": ")" + id + R"(", "ip": ")" + ip + R"(", "password": "word-77"})";
}

std::string Content(const TemporaryFile& file) {
    std::ostringstream text;
    text << std::ifstream(file.Path()).rdbuf();
    return text.str();
}

class ServeTest : public testing::Test {
protected:
    void Write(const std::string& config) { std::ofstream(config_.Path()) << config; }

    void Launch() {
        run_ = std::make_unique<HostRun>(
            std::vector<std::string>{"serve", "--verbose", "--config", config_.Path()});
    }

    /// Launches and waits until it serves.
    void Start(const std::string& config) {
        Write(config);
        Launch();
        std::string line;
        ASSERT_TRUE(run_->Process().ReadLine(line, kPatience));
        ASSERT_THAT(line, testing::StartsWith("ready http://127.0.0.1:"));
        port_ = std::stoi(line.substr(line.rfind(':') + 1));
    }

    int Stop(int signal = SIGTERM) {
        run_->Process().Signal(signal);
        return run_->Finish(kPatience);
    }

    /// What devices have come and gone in the module.
    std::string History() const {
        const std::string answer =
            Fetch(port_, "POST", "/api/commands",
                  R"({"module": "fake", "id": "0x10010a", "body": {"do": "history"}})")
                .body;
        Json::Value value;
        EXPECT_TRUE(vms::ParseJson(answer.c_str(), value)) << answer;
        return value["body"].asString();
    }

    /// Has the file read and waits for what that leads to. @return the history then
    std::string Reload(const std::string& config, const std::string& expected) {
        Write(config);
        run_->Process().Signal(SIGHUP);
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (History() != expected && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(10ms);
        return History();
    }

    bool WaitForError(const std::string& text) const {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (run_->ErrorsSoFar().find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(10ms);
        }
        return true;
    }

    TemporaryFile config_;
    std::unique_ptr<HostRun> run_;
    int port_ = 0;
};

TEST_F(ServeTest, ServesPlayersAndEndsOnASignal) {
    for (const int signal : {SIGTERM, SIGINT}) {
        Start(Config(Device("a")));
        vms::test::TestPlayer player(port_);
        EXPECT_EQ(player.Ask(0x100200, "key"), 0);
        EXPECT_EQ(player.Ask(0x100204, "key"), -1);
        EXPECT_THAT(Fetch(port_, "GET", "/metrics").body, HasSubstr("\nvms_sent_units_total 1\n"));
        vms::test::TestSocket idle(port_);
        EXPECT_EQ(Stop(signal), 0);
        EXPECT_THAT(run_->errors, Not(HasSubstr("left behind")));
        std::string rest;
        EXPECT_TRUE(idle.ReadToEnd(rest));
    }
}

TEST_F(ServeTest, AReloadTellsModulesOfChangesOnly) {
    Start(Config(Device("a") + "," + Device("b")));
    EXPECT_EQ(History(), "+a+b");
    EXPECT_EQ(Reload(Config(Device("a") + "," + Device("c")), "+a+b-b+c"), "+a+b-b+c");
    EXPECT_EQ(Reload(Config(Device("c", "10.0.0.6") + "," + Device("a")), "+a+b-b+c-c+c"),
              "+a+b-b+c-c+c");
    Write("{ broken");
    run_->Process().Signal(SIGHUP);
    EXPECT_EQ(Reload(Config(""), "+a+b-b+c-c+c-a-c"), "+a+b-b+c-c+c-a-c");
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (Fetch(port_, "GET", "/api/devices").body != "{\"devices\":[],\"total\":0}\n")
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "still known";
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(run_->errors, Not(HasSubstr("word-77")));
}

TEST_F(ServeTest, AddedDevicesSurviveReloadsAndSuddenEnds) {
    const test::TemporaryFolder folder;
    const auto config = [&](const std::string& devices) {
        std::string text = Config(devices);
        return text.insert(1, R"("state": ")" + folder.Path() + R"(/state", )");
    };
    const auto add = [this](const std::string& id) {
        return Fetch(port_, "POST", "/api/devices", R"({"id": ")" + id + R"(", "ip": "api"})")
            .status;
    };
    Start(config(Device("a")));
    EXPECT_EQ(add("b"), 201);
    EXPECT_EQ(add("a"), 409);
    // The file's entry of an added device's identifier waits until that has gone.
    EXPECT_EQ(Reload(config(Device("b") + "," + Device("c")), "+a+b-a+c"), "+a+b-a+c");
    EXPECT_EQ(Fetch(port_, "DELETE", "/api/devices/b").status, 204);
    EXPECT_EQ(Reload(config(Device("b") + "," + Device("c")), "+a+b-a+c-b+b"), "+a+b-a+c-b+b");
    EXPECT_EQ(Fetch(port_, "DELETE", "/api/devices/b").status, 409);

    std::string known = "+c";
    Reload(config(Device("c")), "+a+b-a+c-b+b-b");
    for (int round = 0; round < 5; ++round) {
        const std::string id = "d" + std::to_string(round);
        EXPECT_EQ(add(id), 201);
        run_->Process().Signal(SIGKILL);
        run_->Finish(kPatience);
        known += "+" + id;
        Start(config(Device("c")));
        EXPECT_EQ(History(), known);
    }
    EXPECT_EQ(Stop(), 0);
}

TEST_F(ServeTest, DevicesThatComeOverTheApiKeepTheirPasswordsOutOfTheLog) {
    Start(Config(""));
    for (const char* body : {R"({"id": "b", "password": "se\"cret-1"})",
                             R"("[{\"id\": \"c\", \"password\": \"secret-2\"}]")"}) {
        const auto answer =
            Fetch(port_, "POST", "/api/commands",
                  R"({"module": "fake", "id": "0x100100", "body": )" + std::string(body) + "}");
        EXPECT_EQ(answer.status, 200) << answer.body;
    }
    EXPECT_EQ(History(), "+b+c");
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(run_->errors, HasSubstr(R"(dev info=[{"id": "c", "password": "***"}])"));
    EXPECT_THAT(run_->errors, Not(HasSubstr("cret-")));
}

TEST_F(ServeTest, APlayerWritesToStandardOutputAndSaysEverythingElseOnStandardError) {
    Start(Config(Device("a")));
    const std::string url = "ws://127.0.0.1:" + std::to_string(port_) + "/stream";
    TemporaryFile out;
    TemporaryFile errors;
    vms::test::ChildProcess shell(
        {"/bin/sh", "-c",
         "(echo before; \"$0\" play --url \"$1\" --key k --units 1 --out - --format alaw --json) "
         "> \"$2\" 2> \"$3\"",
         VMSHOST, url, out.Path(), errors.Path()});
    EXPECT_EQ(shell.WaitExit(20s), 0);
    EXPECT_EQ(Content(out), "before\n" + std::string(68, 'u'));
    EXPECT_THAT(Content(errors), HasSubstr(R"("units":1)"));
    EXPECT_EQ(Stop(), 0);
}

/// The host's own certificate is known by its fingerprint only.
TEST_F(ServeTest, ServesOverTlsAndTakesANewCertificateWhilePlayersPlay) {
    TemporaryFile folder;
    std::filesystem::remove(folder.Path());
    const auto config = [&](const std::string& tls) {
        return R"({"state": ")" + folder.Path() + R"(", "http": {"port": 0, "tls": )" + tls +
               Config(Device("a")).substr(std::string(R"({"http": {"port": 0)").size());
    };
    Write(config(R"("self-signed")"));
    Launch();
    std::string ready;
    std::string fingerprint;
    ASSERT_TRUE(run_->Process().ReadLine(ready, kPatience));
    ASSERT_TRUE(run_->Process().ReadLine(fingerprint, kPatience));
    ASSERT_THAT(ready, testing::StartsWith("ready https://127.0.0.1:"));
    ASSERT_THAT(fingerprint, testing::StartsWith("certificate SHA-256 "));
    const int port = std::stoi(ready.substr(ready.rfind(':') + 1));
    fingerprint = fingerprint.substr(fingerprint.rfind(' ') + 1);
    const auto play = [&](const std::string& trust, const std::string& value) {
        HostRun player({"play", "--url", "wss://127.0.0.1:" + std::to_string(port) + "/stream",
                        "--key", "k", "--units", "1", trust, value});
        return std::pair(player.Finish(), player.errors);
    };
    EXPECT_EQ(play("--fingerprint", fingerprint).first, 0);
    EXPECT_EQ(play("--insecure", "--json").first, 0);
    const auto [status, error] = play("--fingerprint", "00" + fingerprint.substr(2));
    EXPECT_EQ(status, 1);
    EXPECT_THAT(error, HasSubstr("not the certificate that was expected"));
    EXPECT_THAT(play("--trace", "/dev/null").second, HasSubstr("self-signed certificate"));

    vms::test::TestPlayer player(port, 0, "/stream", true);
    const std::string file = folder.Path() + "/tls-self-signed.pem";
    std::filesystem::remove(file);
    run_->Process().Signal(SIGHUP);
    const auto fingerprintNow = [&] {
        vms::test::TestSocket client(port);
        return client.StartTls() ? client.Tls()->Fingerprint() : "";
    };
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    std::string renewed;
    while ((renewed = fingerprintNow()) == fingerprint)
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    EXPECT_NE(renewed, "");
    EXPECT_EQ(player.Ask(0x100200, "key"), 0);

    std::ofstream(file) << "no certificate";
    Write(config(R"({"certificate": "a.pem", "key": "b.pem"})"));
    run_->Process().Signal(SIGHUP);
    EXPECT_TRUE(WaitForError("the certificate stays as it is"));
    EXPECT_TRUE(WaitForError("\"http.tls\" has changed, which counts only after a restart"));
    EXPECT_EQ(fingerprintNow(), renewed);
    EXPECT_EQ(player.Ask(0x100200, "key"), 0);
    EXPECT_EQ(Stop(), 0);
    std::filesystem::remove_all(folder.Path());
}

TEST_F(ServeTest, AWrongTalkFileEndsTheTalkOnly) {
    Start(Config(Device("a")));
    TemporaryFile errors;
    vms::test::ChildProcess player(
        {"/bin/sh", "-c",
         "printf 'talk /nowhere.wav\\nquit\\n' | \"$0\" play --url \"$1\" --key k 2> \"$2\"",
         VMSHOST, "ws://127.0.0.1:" + std::to_string(port_) + "/stream", errors.Path()});
    EXPECT_EQ(player.WaitExit(20s), 0);
    EXPECT_THAT(Content(errors), HasSubstr("cannot read /nowhere.wav"));
    EXPECT_EQ(Stop(), 0);
}

TEST_F(ServeTest, ABrokenFileChangesNothing) {
    Start(Config(Device("a")));
    const std::map<std::string, std::string> files{
        {"{ broken", "Line 1"},
        {"{}", "\"modules\" is missing"},
        {Config(Device("a") + "," + Device("a")), "\"a\" is already the identifier"}};
    for (const auto& [broken, reason] : files) {
        Write(broken);
        run_->Process().Signal(SIGHUP);
        ASSERT_TRUE(WaitForError(reason)) << run_->ErrorsSoFar();
        EXPECT_EQ(History(), "+a");
    }
    EXPECT_THAT(Fetch(port_, "GET", "/api/devices").body, HasSubstr("\"a\""));
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(run_->errors, HasSubstr("device lists stay as they are"));
}

TEST_F(ServeTest, SilenceDoesNotKeepItFromEnding) {
    Start(Config(Device("a")));
    Write(Config(Device("b", "silent")));
    run_->Process().Signal(SIGHUP);
    std::string line;
    ASSERT_TRUE(run_->Process().ReadLine(line, kPatience));
    EXPECT_EQ(line, "silent");
    EXPECT_THAT(Fetch(port_, "GET", "/api/devices").body, HasSubstr("\"devices\":[]"))
        << "a is off and b is not confirmed";
    vms::test::TestHttp client(port_);
    client.Send("POST", "/api/commands",
                R"({"module": "fake", "id": "0x10010a", "body": {"do": "silent"}})");
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(run_->errors, Not(HasSubstr("left behind")));
}

TEST_F(ServeTest, AnUnInitThatDoesNotEndIsLeftBehind) {
    Start(Config("", R"({"hang": true})"));
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(run_->errors, HasSubstr("had not ended after 7 s, left behind"));
}

TEST_F(ServeTest, ASignalEndsAStartThatTakesLong) {
    Write(Config(Device("a", "silent")));
    Launch();
    std::string line;
    ASSERT_TRUE(run_->Process().ReadLine(line, kPatience));
    ASSERT_EQ(line, "silent");
    run_->Process().Signal(SIGHUP);
    EXPECT_EQ(Stop(SIGINT), 0);
    EXPECT_THAT(run_->errors, HasSubstr("stopped while modules started"));
}

TEST_F(ServeTest, WhatCannotStartSaysWhy) {
    Start(Config(""));
    TemporaryFile same(Config("", "{}", port_));
    HostRun second({"serve", "--config", same.Path()});
    EXPECT_EQ(second.Finish(kPatience), 1);
    EXPECT_THAT(second.errors, HasSubstr("cannot listen on 127.0.0.1:" + std::to_string(port_)));

    TemporaryFile broken("{\"modules\": 5}");
    HostRun third({"serve", "--config", broken.Path()});
    EXPECT_EQ(third.Finish(kPatience), 1);
    EXPECT_THAT(third.errors, HasSubstr(broken.Path()));

    TemporaryFile refusing(Config("", R"({"refuse": true})"));
    HostRun fourth({"serve", "--config", refusing.Path()});
    EXPECT_EQ(fourth.Finish(kPatience), 1);
    EXPECT_THAT(fourth.errors, HasSubstr("refused to start"));

    vms::test::ChildProcess unread(
        {"/bin/sh", "-c", "\"$0\" serve --config \"$1\" 2>&1 >/dev/full", VMSHOST, config_.Path()});
    std::string error;
    ASSERT_TRUE(unread.ReadLine(error, kPatience));
    EXPECT_THAT(error, HasSubstr("cannot write the output"));
    EXPECT_EQ(unread.WaitExit(kPatience), 1);
}

TEST_F(ServeTest, ListeningForOtherMachinesNeedsUsersOrAToken) {
    TemporaryFile open(R"({"http": {"host": "0.0.0.0", "port": 0)" + Config("").substr(19));
    HostRun refused({"serve", "--config", open.Path()});
    EXPECT_EQ(refused.Finish(kPatience), 1);
    EXPECT_THAT(refused.errors, HasSubstr("http.host \"0.0.0.0\" lets other machines in"));
    EXPECT_THAT(refused.errors, HasSubstr("vmshost user add"));
}

TEST_F(ServeTest, UsersAndTokensThatComeAndGoBesideItAreNoticed) {
    const vms::host::test::TemporaryFolder folder;
    const TemporaryFile password("pass phrase\n");
    Start(R"({"state": ")" + folder.Path() + R"(/state", )" + Config("").substr(1));
    const auto run = [this](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--config", config_.Path()});
        HostRun command(arguments);
        EXPECT_EQ(command.Finish(kPatience), 0) << command.errors;
        return command.lines;
    };
    std::string header;
    const auto becomes = [&](int status) {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (Fetch(port_, "GET", "/api/devices", "", {header}).status != status) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(10ms);
        }
        return true;
    };
    header = "X-Nobody: 1";
    EXPECT_TRUE(becomes(200));
    run({"user", "add", "anna", "--role", "viewer", "--password-file", password.Path()});
    EXPECT_TRUE(becomes(401));
    const auto session =
        Fetch(port_, "POST", "/api/session", R"({"name": "anna", "password": "pass phrase"})");
    ASSERT_EQ(session.status, 200) << session.body;
    header = "Cookie: " + session.headers.at("set-cookie");
    EXPECT_TRUE(becomes(200));
    EXPECT_EQ(run({"user", "list"}), std::vector<std::string>{"anna\tviewer"});

    const auto token = run({"token", "add", "robot", "--role", "viewer"});
    run({"user", "remove", "anna"});
    EXPECT_TRUE(becomes(401));
    header = "Authorization: Bearer " + token.at(0);
    EXPECT_TRUE(becomes(200));
    run({"token", "remove", "robot"});
    EXPECT_TRUE(becomes(200)) << "with nobody left this machine is let in again";
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(run_->errors, Not(HasSubstr(token.at(0))));
}

TEST_F(ServeTest, AReloadNamesWhatOnlyARestartChanges) {
    Start(Config(""));
    Write(R"({"http": {"port": 0, "bodyMegabytes": 7, "token": "new-secret"}, "state": "x")" +
          Config("").substr(20));
    run_->Process().Signal(SIGHUP);
    EXPECT_TRUE(WaitForError("\"http.bodyMegabytes\" has changed, which counts only after"));
    EXPECT_TRUE(WaitForError("\"http.token\" has changed"));
    EXPECT_TRUE(WaitForError("\"state\" has changed"));
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(run_->errors, Not(HasSubstr("http.port")));
    EXPECT_THAT(run_->errors, Not(HasSubstr("new-secret")));
}

}  // namespace
