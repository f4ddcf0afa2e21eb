#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/net/SelfSigned.h"
#include "host/net/TlsContext.h"
#include "host/process/LogSink.h"
#include "host/server/HostServer.h"
#include "host/sources/DeviceModules.h"
#include "tests/host/server/FakeStreamModule.h"
#include "tests/support/TestPlayer.h"

namespace vms::host::test {

using namespace vms::test;

/// A server in this process with one module that remembers, and its players.
class HostServerFixture : public testing::Test {
protected:
    ~HostServerFixture() override { server_.reset(); }

    static HttpConfig Anywhere() {
        HttpConfig config;
        config.port = 0;
        return config;
    }

    /// Everything goes to one handler.
    static HttpRouter To(const HttpHandler& handler) {
        HttpRouter router;
        router.Add("GET", "/", handler);
        router.Add("POST", "/", handler);
        return router;
    }

    void Start(const SendLimits& limits = {}, std::vector<IStreamModule*> modules = {}) {
        server_ = std::make_unique<HostServer>(Anywhere(), log_, limits, tls_);
        if (modules.empty())
            modules.push_back(&module_);
        if (gate_)
            server_->SetGate(gate_);
        server_->Attach(std::move(modules), devices_);
        server_->Start(To(
            [](const HttpRequest&, const std::shared_ptr<HttpReply>& reply) { reply->Send({}); }));
    }

    int Port() const { return server_->Port(); }
    IStreamConnectionController& Streams() { return server_->Streams(); }

    std::unique_ptr<TestPlayer> NewPlayer(int receiveBuffer = 0) const {
        return std::make_unique<TestPlayer>(Port(), receiveBuffer, "/stream", tls_ != nullptr);
    }

    /// A player that the server has under the number that is given back.
    long long Connect(std::unique_ptr<TestPlayer>& player, int receiveBuffer = 0) {
        player = NewPlayer(receiveBuffer);
        EXPECT_EQ(player->Ask(TV_STREAM_PLAYBACK_START, "key"), 0);
        return server_->Players().back().id;
    }

    /// A player of the live stream "live", which has joined it: that is a moment after the answer.
    std::unique_ptr<TestPlayer> Watch(int receiveBuffer = 0) {
        auto player = NewPlayer(receiveBuffer);
        const size_t before = Watchers();
        EXPECT_EQ(player->Ask(TV_STREAM_PREVIEW_START, "live"), 0);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (Watchers() == before && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        EXPECT_EQ(Watchers(), before + 1);
        return player;
    }

    size_t Watchers() const {
        const auto relays = server_->Relays();
        return relays.empty() ? 0 : relays.front().counts.clients;
    }

    /// The number under which the modules know that stream's relay; 0 = there is none.
    long long RelayNumber() {
        for (const auto& [number, events] : module_.All()) {
            if (events.size() == 2 && events[1] == "request 1049088 live ")
                return number;
        }
        return 0;
    }

    /// A player leaves the table once its modules have heard of its end. @return false: not in time
    [[nodiscard]] bool WaitForPlayers(size_t count) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (server_->Summary().connected != count) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }

    bool SendData(long long id, const std::string& unit, bool isPlayback = false) {
        return Streams().SendData(id, unit.data(), static_cast<int>(unit.size()), isPlayback) == 0;
    }

    /// Has the server speak TLS, and the players that come from here.
    void UseTls() {
        tls_ = std::make_shared<TlsContext>([] { return MakeSelfSigned({"localhost"}); });
    }

    std::shared_ptr<TlsContext> tls_;  ///< null = plain
    LogSink log_{"test", LogPrinting::kNothing};
    HttpGate gate_;  ///< none = everybody is an admin
    FakeStreamModule module_;
    BusClient bus_;
    DeviceModules devices_{bus_,
                           [](const std::string& device) { return device == "hall" ? "m" : ""; }};
    std::unique_ptr<HostServer> server_;
};

}  // namespace vms::host::test
