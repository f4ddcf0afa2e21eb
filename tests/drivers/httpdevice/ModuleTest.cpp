#include <dlfcn.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <json/writer.h>

#include <functional>
#include <map>
#include <set>
#include <thread>

#include "module/ICommandBus.h"
#include "module/IModule.h"
#include "module/IStreamModule.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/IStreamConnectionController.h"
#include "platform/Json.h"
#include "platform/Mutex.h"
#include "platform/SysCommandHelper.h"
#include "tests/drivers/httpdevice/HttpDevsim.h"
#include "tests/support/BusProbe.h"

namespace {

constexpr std::chrono::minutes kDeadline{2};
constexpr const char* kModule = "cameras";
constexpr long long kPlayer = 7;

/// A host's stream server with one player that counts what it gets.
class Player final : public IStreamConnectionController {
public:
    int SendData(long long, const char* data, int length, bool) override {
        vms::MutexLock lock(mutex_);
        const bool isFace = length >= 32 && (data[4] & 3) == 3;
        ++(isFace ? faces_ : pictures_);
        return 0;
    }
    int SendCommand(long long, __tagTvCommand* command) override {
        vms::MutexLock lock(mutex_);
        message_ = command->body;
        return 0;
    }
    void CloseConnection(long long) override {}
    void GetServerAddress(std::string& host, int& port) override {
        host = "127.0.0.1";
        port = 1;
    }
    int QueryDataCount(long long) override { return 0; }

    int Faces() {
        vms::MutexLock lock(mutex_);
        return faces_;
    }
    int Pictures() {
        vms::MutexLock lock(mutex_);
        return pictures_;
    }
    std::string Message() {
        vms::MutexLock lock(mutex_);
        return message_;
    }

private:
    vms::Mutex mutex_;
    int faces_ VMS_GUARDED_BY(mutex_) = 0;
    int pictures_ VMS_GUARDED_BY(mutex_) = 0;
    std::string message_ VMS_GUARDED_BY(mutex_);
};

/// The family as a host loads it, with one device.
class ModuleTest : public testing::Test {
protected:
    void SetUp() override {
        library_ = dlopen(FAMILY_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << dlerror();
        module_ = Symbol<IModule>("GetModuleInstance");
        streams_ = Symbol<IStreamModule>("GetStreamModuleInstance");
        streams_->SetConnectionControl(&player_);
        ASSERT_TRUE(module_->Init(kModule, ""));
        const __tagTvVideoParam device = sim_.Device(0);
        Json::Value json;
        json["id"] = "dev";
        json["ip"] = device.ip;
        json["port"] = device.port;
        json["username"] = device.username;
        json["password"] = device.password;
        EXPECT_NE(Call(TV_CMD_DEVICES_ENQUEUE, json.toStyledString()), nullptr);
    }
    void TearDown() override {
        EXPECT_EQ(module_->UnInit(), 0);
        EXPECT_TRUE(bus_->UnregisterModule(kModule));
        dlclose(library_);
    }

    template <class Result>
    Result* Symbol(const char* name) {
        return reinterpret_cast<Result* (*)()>(dlsym(library_, name))();
    }
    /// @return the answer of a request that was carried out, otherwise null
    std::unique_ptr<__tagTvCommand> Call(__enumTvCommand id, const std::string& body) {
        const vms::test::Outcome outcome = vms::test::Ask(kModule, id, "dev", body);
        if (outcome.answers.size() != 1 || outcome.answers[0].result != 1)
            return nullptr;
        return std::make_unique<__tagTvCommand>(outcome.answers[0]);
    }
    /// @return the key that a request for a stream is answered with; "" when it is refused
    std::string KeyOf(__enumTvCommand id, const std::string& body) {
        const auto answer = Call(id, body);
        Json::Value json;
        std::string key;
        if (answer != nullptr && vms::ParseJson(answer->body.c_str(), json))
            vms::ReadString(json, "uri", key);
        return key;
    }
    /// A player's request.
    int Ask(__enumTvCommand id, const std::string& key, const std::string& body = "") {
        __tagTvCommand* const request =
            SysCommandHelper::CreateRequestCommand(id, "", key.c_str(), body.c_str(), "");
        const int result = streams_->OnRecv(kPlayer, request, 0);
        SysCommandHelper::ReleaseCommand(request);
        return result;
    }
    /// Asks for the picture and joins it. @return whether there is one
    bool Watch(bool faces) {
        const std::string key =
            KeyOf(TV_CMD_GET_PREVIEW_URL, faces ? R"({"id":"dev","face":1})" : R"({"id":"dev"})");
        return !key.empty() && Ask(TV_STREAM_PREVIEW_START, key) == 0;
    }
    /// Waits, while the host's timer runs.
    bool Eventually(const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            module_->OnTimer();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return true;
    }

    const vms::httpdevice::HttpDevsim sim_{{"--face-interval-ms", "100"}};
    ICommandBus* const bus_ = CreateCommandBusInstance();
    Player player_;
    void* library_ = nullptr;
    IModule* module_ = nullptr;
    IStreamModule* streams_ = nullptr;
};

TEST_F(ModuleTest, FacesComeBackAfterEveryDrop) {
    sim_.SetFault(0, "eventsDrop=2");
    ASSERT_TRUE(Watch(true));
    EXPECT_TRUE(Eventually([&] { return player_.Faces() > 10; })) << "after two drops";
    EXPECT_GT(player_.Pictures(), 0);
    EXPECT_GE(sim_.State(0)["stats"]["counts"]["events:start"].asInt(), 3);
}

TEST_F(ModuleTest, TheNextPreviewWorksWhenTheDeviceIsBack) {
    ASSERT_TRUE(Watch(false));
    ASSERT_TRUE(Eventually([&] { return player_.Pictures() > 10; }));
    sim_.SetFault(0, "refused");
    sim_.Drop(0);
    EXPECT_TRUE(Eventually([&] { return player_.Message() == "3"; }));
    EXPECT_EQ(Call(TV_CMD_GET_DEVICE_PERMISSION, "")->body, "");
    // The module shares a stream for two seconds after its last picture, even a dead one.
    std::this_thread::sleep_for(std::chrono::seconds(3));
    EXPECT_FALSE(Watch(false));
    sim_.ClearFaults(0);
    const int before = player_.Pictures();
    EXPECT_TRUE(Eventually([&] { return Watch(false); }));
    EXPECT_TRUE(Eventually([&] { return player_.Pictures() > before + 10; }));
}

TEST_F(ModuleTest, WhatIsNotThereHasNoStream) {
    for (const auto id : {TV_CMD_GET_PREVIEW_URL, TV_CMD_GET_PLAYBACK_URL}) {
        EXPECT_EQ(KeyOf(id, R"({"id": "dev", "channel": 1})"), "") << std::hex << id;
        EXPECT_NE(KeyOf(id, R"({"id": "dev", "channel": 0})"), "") << std::hex << id;
    }
    // The address of a download names no channel; the player's request does.
    const std::string key = KeyOf(TV_CMD_GET_RECORD_DOWNLOAD_URL, "{}");
    for (const auto id : {TV_STREAM_DOWNLOAD_START, TV_STREAM_PLAYBACK_START})
        EXPECT_EQ(Ask(id, key, R"({"channel": 1, "beginTime": 1, "endTime": 2})"), -1);
    EXPECT_EQ(Ask(TV_STREAM_DOWNLOAD_START, key, R"({"beginTime": 1, "endTime": 2})"), 0);
    EXPECT_TRUE(Eventually([&] { return player_.Message() == "download end"; }));
}

TEST_F(ModuleTest, RemovesADeviceWhoseStreamsRun) {
    ASSERT_TRUE(Watch(true));
    ASSERT_TRUE(Eventually([&] { return player_.Faces() > 0 && player_.Pictures() > 0; }));
    EXPECT_NE(Call(TV_CMD_DEVICES_DEQUEUE, R"({"id": "dev"})"), nullptr);
    EXPECT_FALSE(Watch(false));
    const int before = player_.Pictures();
    EXPECT_TRUE(Eventually([&] { return player_.Pictures() > before + 10; }))
        << "open streams stay";
}

}  // namespace
