#include <dlfcn.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "module/ICommandBus.h"
#include "module/IModule.h"
#include "module/IStreamModule.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/IStreamConnectionController.h"
#include "platform/Json.h"
#include "platform/Mutex.h"
#include "platform/SysCommandHelper.h"

namespace {

constexpr std::chrono::minutes kDeadline{1};
constexpr const char* kModule = "files";
constexpr int kDay2At8 = 1714636800;  // 2024-05-02 08:00:00 UTC

/// A host's stream server that counts what its players get.
class Players final : public IStreamConnectionController {
public:
    int SendData(long long id, const char*, int, bool) override {
        vms::MutexLock lock(mutex_);
        ++units_[id];
        changed_.NotifyAll();
        return 0;
    }
    int SendCommand(long long, __tagTvCommand* command) override {
        vms::MutexLock lock(mutex_);
        message_ = command->body;
        changed_.NotifyAll();
        return 0;
    }
    void CloseConnection(long long) override {}
    void GetServerAddress(std::string& host, int& port) override {
        host = "127.0.0.1";
        port = 1;
    }
    int QueryDataCount(long long) override { return 0; }

    bool WaitUnits(long long id, int count) {
        return Wait([&]() VMS_NO_THREAD_SAFETY_ANALYSIS { return units_[id] >= count; });
    }
    bool WaitMessage(const std::string& text) {
        return Wait([&]() VMS_NO_THREAD_SAFETY_ANALYSIS { return message_ == text; });
    }

private:
    template <class Condition>
    bool Wait(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        vms::MutexLock lock(mutex_);
        while (!condition()) {
            if (!changed_.WaitUntil(mutex_, deadline))
                return condition();
        }
        return true;
    }

    vms::Mutex mutex_;
    vms::CondVar changed_;
    std::map<long long, int> units_ VMS_GUARDED_BY(mutex_);
    std::string message_ VMS_GUARDED_BY(mutex_);
};

class FamilyTest : public testing::Test {
protected:
    template <class Result>
    Result* Symbol(const char* name) {
        return reinterpret_cast<Result* (*)()>(dlsym(library_, name))();
    }

    void SetUp() override {
        library_ = dlopen(FAMILY_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << dlerror();
        module_ = Symbol<IModule>("GetModuleInstance");
        streams_ = Symbol<IStreamModule>("GetStreamModuleInstance");
        streams_->SetConnectionControl(&players_);
        ASSERT_TRUE(
            module_->Init(kModule, R"({"streamserver": {"content": ")" SAMPLE_MEDIA_DIR R"("}})"));
        Call(TV_CMD_DEVICES_ENQUEUE, R"({"id": "dev", "ip": ")" SAMPLE_MEDIA_DIR R"("})");
    }
    void TearDown() override {
        EXPECT_EQ(module_->UnInit(), 0);
        EXPECT_TRUE(bus_->UnregisterModule(kModule));
        dlclose(library_);
    }

    /// Posts a request for a device and waits for its answer.
    std::optional<__tagTvCommand> Post(__enumTvCommand id, const std::string& device,
                                       const std::string& body) {
        vms::Mutex mutex;
        vms::CondVar answered;
        std::optional<__tagTvCommand> answer;
        __tagTvCommand* request = SysCommandHelper::CreateRequestCommand(id, "test", device.c_str(),
                                                                         body.c_str(), kModule);
        const int64_t serial = bus_->Post(kModule, *request, [&](const __tagTvCommand& response) {
            vms::MutexLock lock(mutex);
            answer = response;
            answered.NotifyAll();
        });
        SysCommandHelper::ReleaseCommand(request);
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        {
            vms::MutexLock lock(mutex);
            while (!answer && answered.WaitUntil(mutex, deadline))
                ;
        }
        bus_->Cancel(serial);
        return answer;
    }
    /// @return the body of a success
    std::string Call(__enumTvCommand id, const std::string& body) {
        const auto answer = Post(id, "dev", body);
        EXPECT_TRUE(answer && answer->result == 1) << std::hex << id;
        return answer ? answer->body : "";
    }
    void ExpectRefused(__enumTvCommand id, const std::string& device, const std::string& body) {
        const auto answer = Post(id, device, body);
        EXPECT_TRUE(answer && answer->result == -1)
            << std::hex << id << (answer ? answer->body : "");
    }
    std::string CallForKey(__enumTvCommand id, const std::string& body) {
        Json::Value answer;
        std::string key;
        EXPECT_TRUE(vms::ParseJson(Call(id, body).c_str(), answer));
        EXPECT_TRUE(vms::ReadString(answer, "uri", key));
        return key;
    }
    /// A player's request.
    int Ask(long long player, __enumTvCommand id, const std::string& key,
            const std::string& body = "") {
        __tagTvCommand* request =
            SysCommandHelper::CreateRequestCommand(id, "", key.c_str(), body.c_str(), "");
        const int result = streams_->OnRecv(player, request, 0);
        SysCommandHelper::ReleaseCommand(request);
        return result;
    }

    ICommandBus* const bus_ = CreateCommandBusInstance();
    Players players_;
    void* library_ = nullptr;
    IModule* module_ = nullptr;
    IStreamModule* streams_ = nullptr;
};

TEST_F(FamilyTest, ServesPlayersThroughTheModule) {
    const std::string live =
        CallForKey(TV_CMD_GET_PREVIEW_URL, R"({"id": "dev", "channel": 0, "face": 1})");
    ASSERT_EQ(Ask(1, TV_STREAM_PREVIEW_START, live), 0);
    EXPECT_TRUE(players_.WaitUnits(1, 20));

    const std::string playback = CallForKey(TV_CMD_GET_PLAYBACK_URL, "{}");
    const std::string range = R"({"channel": 1, "beginTime": )" + std::to_string(kDay2At8) +
                              R"(, "endTime": )" + std::to_string(kDay2At8 + 1) + "}";
    ASSERT_EQ(Ask(2, TV_STREAM_PLAYBACK_START, playback, range), 0);
    EXPECT_TRUE(players_.WaitMessage("playback end"));
    EXPECT_TRUE(players_.WaitUnits(2, 10));

    const std::string download = CallForKey(TV_CMD_GET_RECORD_DOWNLOAD_URL, "{}");
    ASSERT_EQ(Ask(3, TV_STREAM_DOWNLOAD_START, download, range), 0);
    EXPECT_TRUE(players_.WaitMessage("download end"));
    streams_->OnClose(3, 0, "");
    module_->OnTimer();
}

TEST_F(FamilyTest, WhatIsNotThereHasNoStream) {
    Call(TV_CMD_DEVICES_ENQUEUE, R"({"id": "gone"})");
    Call(TV_CMD_DEVICES_ENQUEUE, R"({"id": "outside", "ip": ")" SAMPLE_MEDIA_DIR R"(/.."})");
    const std::string fifth = R"({"id": "dev", "channel": 4})";
    const std::string session = R"({"id": "s", "beginTime": 1, "endTime": 2})";
    ExpectRefused(TV_CMD_GET_PREVIEW_URL, "dev", fifth);
    ExpectRefused(TV_CMD_GET_PLAYBACK_URL, "dev", fifth);
    for (const std::string device : {"gone", "outside"}) {
        for (const auto id :
             {TV_CMD_GET_PREVIEW_URL, TV_CMD_GET_PLAYBACK_URL, TV_CMD_GET_RECORD_DOWNLOAD_URL,
              TV_CMD_SEARCH_RECORD, TV_CMD_QUERY_RECORD_DATE})
            ExpectRefused(id, device, "{}");
        ExpectRefused(TV_CMD_SYNC_PLAYBACK_CREATE, device + "-1", session);
    }

    // The address of a download names no channel; the player's request does.
    const std::string key = CallForKey(TV_CMD_GET_RECORD_DOWNLOAD_URL, "{}");
    const std::string range = R"("beginTime": )" + std::to_string(kDay2At8) + R"(, "endTime": )" +
                              std::to_string(kDay2At8 + 1) + "}";
    EXPECT_EQ(Ask(1, TV_STREAM_DOWNLOAD_START, key, R"({"channel": 4, )" + range), -1);
    EXPECT_EQ(Ask(1, TV_STREAM_PLAYBACK_START, key, R"({"channel": 4, )" + range), -1);
    EXPECT_EQ(Ask(1, TV_STREAM_DOWNLOAD_START, key, R"({"channel": 1, )" + range), 0);
    EXPECT_TRUE(players_.WaitMessage("download end"));
}

TEST_F(FamilyTest, AChannelOfASessionLeavesAndReturns) {
    const std::string range = std::to_string(kDay2At8);
    const auto post = [&](__enumTvCommand id, const std::string& body) {
        const auto answer = Post(id, "dev-1", body);
        return answer && answer->result == 1;
    };
    ASSERT_TRUE(post(TV_CMD_SYNC_PLAYBACK_CREATE, R"({"id": "s", "speed": -4, "beginTime": )" +
                                                      range + R"(, "endTime": )" +
                                                      std::to_string(kDay2At8 + 6) + "}"));
    Ask(1, TV_STREAM_PLAYBACK_START, "dev-1", "0");
    ASSERT_TRUE(post(TV_CMD_SYNC_PLAYBACK_START, ""));
    ASSERT_TRUE(players_.WaitUnits(1, 5));
    ASSERT_TRUE(post(TV_CMD_SYNC_PLAYBACK_CHANNEL_DEL, "[0]"));
    ASSERT_TRUE(post(TV_CMD_SYNC_PLAYBACK_CHANNEL_ADD, "[0]"));
    // The one that stayed attached and one that comes now.
    Ask(2, TV_STREAM_PLAYBACK_START, "dev-1", "0");
    EXPECT_TRUE(players_.WaitUnits(2, 5));
    EXPECT_TRUE(players_.WaitUnits(1, 10));
}

TEST_F(FamilyTest, AnswersSearches) {
    Json::Value days;
    EXPECT_TRUE(vms::ParseJson(Call(TV_CMD_QUERY_RECORD_DATE, "{}").c_str(), days));
    ASSERT_EQ(days.size(), 2U);
    EXPECT_EQ(days[1].asInt(), 20240502);
    Json::Value found;
    EXPECT_TRUE(vms::ParseJson(Call(TV_CMD_SEARCH_RECORD, R"({"channel": 0})").c_str(), found));
    EXPECT_EQ(found["records"].size(), 4U);
}

}  // namespace
