#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <utility>

#include "host/process/LogSink.h"
#include "host/sources/LiveStreams.h"
#include "host/sources/PlaybackStreams.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/SysCommandHelper.h"
#include "tests/host/server/FakeStreamModule.h"

namespace vms::host::test {

/// Live streams and playbacks of one device "hall", whose module "m" answers each request for a
/// stream with a new key: "key-1", "key-2", ...
class SourcesFixture : public testing::Test {
protected:
    SourcesFixture() {
        module_.onRequest = [this](long long, const __tagTvCommand& request) {
            return isGone && (goneKey.empty() || request.deviceId == goneKey) ? -1 : 0;
        };
        for (const auto id :
             {TV_CMD_GET_PREVIEW_URL, TV_CMD_GET_PLAYBACK_URL, TV_CMD_GET_RECORD_DOWNLOAD_URL})
            bus_.Bus().RegisterCommand("m", id, [this](__tagTvCommand* request) {
                onAsk();
                Respond(*request, succeeds ? 1 : -1,
                        succeeds
                            ? R"({"uri": ")" + scheme + "key-" + std::to_string(++asked) + "\"}"
                            : "no");
            });
    }

    ~SourcesFixture() override {
        live_.Close();
        playbacks_.Close();
        bus_.Bus().UnregisterModule("m");
        lanes_.Stop();
    }

    static void Respond(const __tagTvCommand& request, int result, const std::string& body) {
        __tagTvCommand* answer =
            SysCommandHelper::CreateResponseCommand(&request, result, body.c_str());
        CreateCommandBusInstance()->SendResponse(answer);
        SysCommandHelper::ReleaseCommand(answer);
    }

    using Opened = std::pair<std::shared_ptr<LiveShare>, SourceProblem>;

    /// Waits for the outcome; a share of none without a problem = it never came.
    std::future<Opened> Open(const StreamAddress& address) {
        const auto promise = std::make_shared<std::promise<Opened>>();
        live_.Open(address, [promise](const auto& share, const SourceProblem& problem) {
            promise->set_value({share, problem});
        });
        return promise->get_future();
    }

    Opened OpenNow(const StreamAddress& address) {
        auto opened = Open(address);
        if (opened.wait_for(std::chrono::seconds(20)) != std::future_status::ready)
            return {};
        return opened.get();
    }

    static Relay::Clock::time_point Time() { return Relay::Clock::time_point(time_.load()); }
    static void Pass(std::chrono::seconds time) { time_ = time_.load() + time; }

    static inline std::atomic<Relay::Clock::duration> time_{};

    std::atomic<bool> succeeds{true};
    std::atomic<int> asked{0};
    std::string scheme;               ///< in front of keys
    std::string goneKey;              ///< set before the first request; "" = any
    std::atomic<bool> isGone{false};  ///< players' requests for that stream are refused
    std::function<void()> onAsk = [] {};

    LogSink log_{"test", LogPrinting::kNothing};
    BusClient bus_;
    FakeStreamModule module_;
    StreamModules modules_{{&module_}, log_};
    ReceiverTable receivers_;
    RelayTable relays_{modules_, receivers_, {}, &SourcesFixture::Time};
    DeviceModules devices_{bus_,
                           [](const std::string& device) { return device == "hall" ? "m" : ""; }};
    Lanes lanes_{4};
    LiveStreams live_{devices_, relays_, lanes_};
    PlaybackStreams playbacks_{devices_, modules_, receivers_, lanes_};
};

}  // namespace vms::host::test
