#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/LogSink.h"
#include "host/stream/StreamServer.h"
#include "tests/host/stream/FakeStreamModule.h"
#include "tests/support/TestPlayer.h"

namespace vms::test {

/// A stream server in this process with one module that remembers, and its players.
class StreamServerFixture : public testing::Test {
protected:
    ~StreamServerFixture() override { server_.reset(); }

    static HttpConfig Anywhere() {
        HttpConfig config;
        config.port = 0;
        return config;
    }

    void Start(
        const SendLimits& limits = {}, std::vector<IStreamModule*> modules = {},
        HttpHandler handler = [](const HttpRequest&, HttpReply& reply) { reply.Send({}); },
        const HttpConfig& config = Anywhere()) {
        server_ = std::make_unique<StreamServer>(config, log_, limits);
        if (modules.empty())
            modules.push_back(&module_);
        server_->Start(std::move(modules), std::move(handler));
    }

    int Port() const { return server_->Port(); }

    /// A player that the server has under the number that is given back.
    long long Connect(std::unique_ptr<TestPlayer>& player, int receiveBuffer = 0) {
        player = std::make_unique<TestPlayer>(Port(), receiveBuffer);
        EXPECT_EQ(player->Ask(TV_STREAM_PREVIEW_START, "key"), 0);
        return server_->Players().back().id;
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
        return server_->SendData(id, unit.data(), static_cast<int>(unit.size()), isPlayback) == 0;
    }

    LogSink log_{"test", LogPrinting::nothing};
    FakeStreamModule module_;
    std::unique_ptr<StreamServer> server_;
};

}  // namespace vms::test
