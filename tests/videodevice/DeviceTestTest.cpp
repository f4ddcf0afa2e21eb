// The device test is answered from a worker.
#include <future>

#include "platform/CreateCommandBusInstance.h"
#include "tests/videodevice/ModuleFixture.h"

namespace vms::test {
namespace {

class DeviceTestCommand : public ModuleFixture {
protected:
    /// Answer of a worker, which comes after the handler has returned.
    Answer AskWorker(const std::string& body) {
        std::promise<Answer> promise;
        std::future<Answer> future = promise.get_future();
        __tagTvCommand request;
        request.serial = TV_CMD_DEVICE_TEST;
        request.body = body;
        const int64_t serial = CreateCommandBusInstance()->Post(
            "video-test", request, [&](const __tagTvCommand& answer) {
                promise.set_value({answer.result, answer.body});
            });
        const bool came = future.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
        CreateCommandBusInstance()->Cancel(serial);
        EXPECT_TRUE(came);
        return came ? future.get() : Answer{};
    }
};

TEST_F(DeviceTestCommand, TriesWhatTheBodyDescribes) {
    LogProbe log;
    module->SetCallback(&log);
    const std::string found =
        "{\n\t\"channelnum\" : 4,\n\t\"devtype\" : 5,\n\t\"name\" : \"found\",\n"
        "\t\"ver\" : \"1.0\"\n}\n";
    const std::string device =
        R"({"ip": "1.2.3.4", "port": 80, "username": "u", "password": "p", "httpsEnable": true})";
    EXPECT_EQ(AskWorker(device), (Answer{1, found}));
    EXPECT_EQ(log.Take(),
              (Calls{"1 DeviceTest DeviceTest begin", "1 operator() DeviceTest end, ret=1"}));
    EXPECT_EQ(AskWorker("[" + device + "]"), (Answer{1, found}));
    EXPECT_EQ(AskWorker(R"({"port": "80"})"), (Answer{1, found}));
    EXPECT_EQ(AskWorker("[]"), (Answer{1, found}));
    EXPECT_EQ(TakeCalls(), (Calls{"DeviceTest 1.2.3.4 80 u p 1", "DeviceTest 1.2.3.4 80 u p 1",
                                  "DeviceTest  0   0", "DeviceTest  0   0"}));
    module->SetCallback(nullptr);
}

TEST_F(DeviceTestCommand, FailuresAreAnsweredToo) {
    LogProbe log;
    EXPECT_EQ(AskWorker("not JSON"), (Answer{-1, ""}));
    EXPECT_EQ(TakeCalls(), Calls{});
    factory.script.Result("DeviceTest", 1);
    module->SetCallback(&log);
    EXPECT_EQ(AskWorker("{}"), (Answer{-1, ""}));
    EXPECT_EQ(log.Take().back(), "1 operator() DeviceTest end, ret=-1");
    module->SetCallback(nullptr);
    factory.script.Throw("DeviceTest");
    EXPECT_EQ(AskWorker("{}"), (Answer{-1, ""}));
}

TEST_F(DeviceTestCommand, TheModuleWaitsForASlowTest) {
    std::promise<void> entered;
    std::promise<void> release;
    factory.script.Hook("DeviceTest", [&, gate = release.get_future().share()] {
        entered.set_value();
        gate.wait();
    });
    __tagTvCommand request;
    request.body = "{}";
    module->DeviceTest(&request);
    entered.get_future().wait();
    std::atomic<bool> gone{false};
    CreateCommandBusInstance()->UnregisterModule("video-test");
    std::thread destroyer([&] {
        module.reset();
        gone = true;
    });
    EXPECT_FALSE(gone);
    release.set_value();
    destroyer.join();
    EXPECT_TRUE(gone);
}

}  // namespace
}  // namespace vms::test
