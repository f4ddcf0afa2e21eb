// Everything at once, for the sanitizers: devices come and go while players, sources and the timer
// go on.
#include <thread>

#include "tests/videodevice/ModuleFixture.h"
#include "videodevice/FaceOnClose.h"

namespace vms::test {
namespace {

class ModuleStress : public ModuleFixture {
protected:
    static constexpr int kRounds = 120;

    void Handle(void (VideoDeviceModule::*handler)(__tagTvCommand*), const std::string& deviceId,
                const std::string& body) {
        __tagTvCommand command;
        command.deviceId = deviceId;
        command.body = body;
        (module.get()->*handler)(&command);
    }
    void Repeat(const std::function<void(int round)>& work) {
        threads_.emplace_back([work] {
            for (int round = 0; round < kRounds; ++round)
                work(round);
        });
    }
    void Join() {
        for (std::thread& thread : threads_)
            thread.join();
    }

private:
    std::vector<std::thread> threads_;
};

TEST_F(ModuleStress, AllAtOnce) {
    factory.script.remember = false;
    controller.remember = false;
    factory.uri = "live";
    const std::string device = R"([{"id": "d"}])";
    Repeat([&](int) { Handle(&VideoDeviceModule::DevicesEnqueue, "", device); });
    Repeat([&](int round) {
        if (round % 4 == 0)
            Handle(&VideoDeviceModule::DevicesDequeue, "", device);
        Handle(&VideoDeviceModule::GetDevSessionId, "", "");
    });
    Repeat([&](int) {
        Handle(&VideoDeviceModule::GetPreviewUrl, "d", R"({"id": "d", "face": 1})");
        Handle(&VideoDeviceModule::GetPlaybackUrl, "d", "");
        ++now;
    });
    Repeat([&](int round) {
        const long long connection = round % 5;
        Request(TV_STREAM_PREVIEW_START, connection, "live");
        Request(TV_STREAM_TALK_START, connection, "live");
        Request(TV_STREAM_PLAYBACK_START, connection, "live", R"({"beginTime": 1, "endTime": 2})");
        Request(TV_STREAM_PLAYBACK_PAUSE, connection, "live");
        std::string audio(32, '\0');
        audio[4] = 2;
        module->OnStream(connection, audio.data(), 32);
        module->OnClose(connection, 0, "");
    });
    Repeat([&](int) {
        KeyFrame("live", "key frame");
        Deliver("live", "unit");
        Deliver("d-1--3", "unit");
        module->QueryDataCountToSend("live");
    });
    Repeat([&](int round) {
        module->MsgCallback("live", round % 4 == 0 ? g_faceOnClose : "message");
        controller.TakeCommands();
        Handle(&VideoDeviceModule::DeviceTest, "", "{}");
    });
    Repeat([&](int) {
        Handle(&VideoDeviceModule::SyncPlaybackCreate, "d-1",
               R"({"id": "s", "beginTime": 1, "endTime": 2})");
        Request(TV_STREAM_PLAYBACK_START, 10, "d-1", "3");
        Handle(&VideoDeviceModule::SyncPlaybackPause, "d-1", "");
        Handle(&VideoDeviceModule::SyncPlaybackDestroy, "d-1", "");
    });
    Repeat([&](int) {
        Request(TV_STREAM_PLAYBACK_START, 11, "d-1", "3");
        module->OnClose(11, 0, "");
    });
    Repeat([&](int) { module->OnTimer(); });
    Join();
    // Idle at last: what is not in service has been destroyed.
    Handle(&VideoDeviceModule::SyncPlaybackDestroy, "d-1", "");
    now += 100;
    Deliver("live", "unit");
    EXPECT_TRUE(Eventually([&] {
        module->OnTimer();
        return SourceState::alive <= 2;
    }));
}

}  // namespace
}  // namespace vms::test
