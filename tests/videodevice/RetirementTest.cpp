// Sources are destroyed once they have closed and nobody is inside them, never earlier.
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <utility>

#include "tests/videodevice/ModuleFixture.h"
#include "videodevice/FaceOnClose.h"
#include "videodevice/streams/DeferredDestruction.h"

namespace vms::test {
namespace {

/// Holds one thread where it passes.
struct Gate {
    void Pass() {
        inside.set_value();
        release.get_future().wait();
    }
    std::promise<void> inside;
    std::promise<void> release;
};

class Retirement : public ModuleFixture {
protected:
    /// A unit of the latest preview's takes its receive thread into the gate.
    void ExpectTheModuleToWait(const std::string& key, Gate& gate) {
        FakePreview* const source = factory.preview;
        std::thread receiver([&] { source->Deliver(key, "unit"); });
        gate.inside.get_future().wait();
        auto gone = std::async(std::launch::async, [&] { module.reset(); });
        EXPECT_EQ(gone.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
        EXPECT_EQ(SourceState::alive, 1);
        gate.release.set_value();
        receiver.join();
        gone.wait();
        EXPECT_EQ(SourceState::alive, 0);
    }
    void ReportFaceClosed(const std::string& key) {
        const int before = factory.script.Count("CreateFaceFrameServer");
        module->MsgCallback(key, g_faceOnClose);
        ASSERT_TRUE(Eventually(
            [&] { return factory.script.Count("CreateFaceFrameServer") == before + 1; }));
        // The new source is started under the same lock: wait until that is over.
        EXPECT_EQ(Request(TV_STREAM_PREVIEW_STOP, 1, key), 0);
    }
};

TEST_F(Retirement, ASourceIsAskedToCloseUntilItHas) {
    Preview();
    SourceState::mayClose = false;
    Preview();
    for (int tick = 1; tick <= 3; ++tick) {
        Tick();
        EXPECT_EQ(factory.script.Count("ClosePreview"), tick);
        EXPECT_EQ(SourceState::alive, 2);
    }
    SourceState::mayClose = true;
    factory.script.Throw("ClosePreview");  // counts as not closed
    Tick();
    EXPECT_EQ(SourceState::alive, 2);
    factory.script.Clear();
    Tick();
    EXPECT_EQ(SourceState::alive, 1);
    EXPECT_EQ(factory.script.Count("ClosePreview"), 5);
}

TEST_F(Retirement, AReceiveThreadInsideTheCallbackKeepsItsSourceAlive) {
    const std::string key = Preview();
    Request(TV_STREAM_PREVIEW_START, 1, key);
    std::promise<void> inside;
    std::promise<void> release;
    controller.OnSend([&, gate = release.get_future().share()](long long) {
        inside.set_value();
        gate.wait();
    });
    FakePreview* const source = factory.preview;
    std::thread receiver([&] { source->Deliver(key, "unit"); });
    inside.get_future().wait();
    controller.OnSend(nullptr);
    now += 2;
    EXPECT_NE(Preview(), key);  // retires the stream under the receiver
    Tick();
    EXPECT_EQ(SourceState::alive, 2);
    release.set_value();
    receiver.join();
    Tick();
    EXPECT_EQ(SourceState::alive, 1);
}

TEST_F(Retirement, TheModuleWaitsForAReceiveThreadInsideTheCallback) {
    const std::string key = Preview();
    Request(TV_STREAM_PREVIEW_START, 1, key);
    Gate gate;
    controller.OnSend([&](long long) { gate.Pass(); });
    ExpectTheModuleToWait(key, gate);
}

TEST_F(Retirement, TheModuleWaitsForAReceiveThreadThatRetiresItsOwnStream) {
    const std::string key = Preview();
    now += 4;  // idle for too long
    Gate gate;
    factory.script.Hook("StopPreview", [&] { gate.Pass(); });
    ExpectTheModuleToWait(key, gate);
}

TEST_F(Retirement, ARecordInUseOutlivesItsClosedSource) {
    // The source says closed although the module is still sending for it.
    const std::string key = Preview();
    Request(TV_STREAM_PREVIEW_START, 1, key);
    controller.OnSend([&](long long) {
        controller.OnSend(nullptr);
        now += 2;
        EXPECT_NE(Preview(), key);
        Tick();
        EXPECT_EQ(SourceState::alive, 2);
    });
    Deliver(key, "unit");
    Tick();
    EXPECT_EQ(SourceState::alive, 1);
}

TEST(DeferredDestruction, AnItemStartedWhileItIsAskedStays) {
    struct Source {
        bool running = false;
    };
    auto starter = std::make_shared<Source>();
    const std::weak_ptr<Source> source = starter;
    DeferredDestruction<Source> retired(DeferredDestruction<Source>::AfterDrop::kNext);
    retired.Add(starter);
    const auto drop = [](std::shared_ptr<Source> gone) { gone.reset(); };
    retired.Sweep(
        [&](Source& asked) {
            const bool closed = !asked.running;
            std::exchange(starter, nullptr)->running = true;  // as another thread might
            return closed;
        },
        drop);
    ASSERT_FALSE(source.expired());
    source.lock()->running = false;
    retired.Sweep([](Source& asked) { return !asked.running; }, drop);
    EXPECT_TRUE(source.expired());
}

TEST(DeferredDestruction, OnlyARestartAsksTwiceInOnePass) {
    using Asked = DeferredDestruction<int>;
    for (const auto afterDrop : {Asked::AfterDrop::kNext, Asked::AfterDrop::kRestart}) {
        Asked retired(afterDrop);
        retired.Add(std::make_shared<int>(2));  // closes when asked for the second time
        retired.Add(std::make_shared<int>(1));
        int dropped = 0;
        retired.Sweep([](int& left) { return --left == 0; },
                      [&](std::shared_ptr<int>) { ++dropped; });
        EXPECT_EQ(dropped, afterDrop == Asked::AfterDrop::kRestart ? 2 : 1);
    }
}

TEST_F(Retirement, AStopThatThrowsDoesNotKeepTheStreamInService) {
    const std::string key = Preview();
    factory.script.Throw("StopPreview");
    EXPECT_NE(Preview(), key);
    Tick();
    EXPECT_EQ(SourceState::alive, 1);
}

TEST_F(Retirement, ALostFaceSourceIsReplaced) {
    const std::string key = Preview(R"({"id": "d", "channel": 2, "face": 1})");
    SourceState::mayClose = false;
    TakeCalls();
    ReportFaceClosed(key);
    EXPECT_EQ(TakeCalls(),
              (Calls{"StopFaceFrame " + key, "CreateFaceFrameServer device", "StartFaceFrame 2"}));
    ReportFaceClosed(key);
    Tick();
    EXPECT_EQ(factory.script.Count("CloseFace"), 2);
    EXPECT_EQ(SourceState::alive, 4);
    SourceState::mayClose = true;
    Tick();
    EXPECT_EQ(SourceState::alive, 2);

    Ask(TV_CMD_DEVICES_DEQUEUE, "", R"({"id": "d"})");
    TakeCalls();
    factory.script.Null("CreateFaceFrameServer");
    ReportFaceClosed(key);
    EXPECT_EQ(TakeCalls(), (Calls{"StopFaceFrame " + key, "CreateFaceFrameServer nobody"}));
    module->FaceReConnect(key);  // no face source any more: nothing to replace
    module->FaceReConnect("unknown");
    module.reset();
    EXPECT_EQ(factory.script.Count("StopFaceFrame"), 3);
}

TEST_F(Retirement, TheModuleLeavesWithItsSourcesStopped) {
    const std::string key = Preview(R"({"id": "d", "face": 1})");
    Request(TV_STREAM_TALK_START, 1, key);
    UrlOf(TV_CMD_GET_PLAYBACK_URL);
    TakeCalls();
    module.reset();
    for (const char* operation : {"StopPreview", "StopPlayback", "StopFaceFrame", "StopTalk"})
        EXPECT_EQ(factory.script.Count(operation), 1) << operation;
}

}  // namespace
}  // namespace vms::test
