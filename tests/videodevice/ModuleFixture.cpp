#include "tests/videodevice/ModuleFixture.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <thread>

#include "platform/CreateCommandBusInstance.h"
#include "platform/Json.h"
#include "platform/SysCommandHelper.h"
#include "tests/support/BusProbe.h"

namespace vms::test {
namespace {

constexpr const char* kModule = "video-test";
constexpr long long kCurious = 99;

}  // namespace

void LogProbe::Log(int level, const char* function, const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    MutexLock lock(mutex_);
    lines_.push_back(std::to_string(level) + " " + function + " " + text);
}

Calls LogProbe::Take() {
    MutexLock lock(mutex_);
    return std::exchange(lines_, {});
}

ModuleFixture::ModuleFixture()
    : module(std::make_unique<VideoDeviceModule>(&factory, [this] { return now.load(); })) {
    SourceState::mayClose = true;
    module->SetConnectionControl(&controller);
    EXPECT_TRUE(module->Init(kModule, "{}"));
    EXPECT_EQ(Ask(TV_CMD_DEVICES_ENQUEUE, "", R"([{"id": "d"}])"), (Answer{1, ""}));
    TakeCalls();
}

ModuleFixture::~ModuleFixture() {
    CreateCommandBusInstance()->UnregisterModule(kModule);
    module.reset();
    EXPECT_EQ(SourceState::destroyedOpen.exchange(0), 0);
    EXPECT_EQ(SourceState::alive, 0);
    EXPECT_EQ(FakeDriver::alive, 0);
}

std::vector<ModuleFixture::Answer> ModuleFixture::AskAll(__enumTvCommand id,
                                                         const std::string& deviceId,
                                                         const std::string& body) {
    const Outcome outcome = test::Ask(kModule, id, deviceId, body);
    EXPECT_TRUE(outcome.handled);
    EXPECT_FALSE(outcome.threw);
    std::vector<Answer> answers;
    for (const __tagTvCommand& answer : outcome.answers)
        answers.push_back({answer.result, answer.body});
    return answers;
}

ModuleFixture::Answer ModuleFixture::Ask(__enumTvCommand id, const std::string& deviceId,
                                         const std::string& body) {
    const std::vector<Answer> answers = AskAll(id, deviceId, body);
    EXPECT_EQ(answers.size(), 1U);
    return answers.empty() ? Answer{-2, "no answer"} : answers.front();
}

std::string ModuleFixture::Preview(const std::string& body) {
    return UrlOf(TV_CMD_GET_PREVIEW_URL, body);
}

std::string ModuleFixture::UrlOf(__enumTvCommand id, const std::string& body) {
    const Answer answer = Ask(id, "d", body);
    return answer.result == 1 ? Parsed(answer.body)["uri"].asString() : "";
}

int ModuleFixture::Request(int id, long long connection, const std::string& key,
                           const std::string& body) {
    __tagTvCommand* const request = SysCommandHelper::CreateRequestCommand(
        static_cast<__enumTvCommand>(id), "player", key.c_str(), body.c_str(), "");
    const int result = module->OnRecv(connection, request, 0);
    SysCommandHelper::ReleaseCommand(request);
    return result;
}

int ModuleFixture::Deliver(const std::string& key, std::string unit) {
    return module->SteramCallback(key, unit.data(), static_cast<int>(unit.size()));
}

void ModuleFixture::KeyFrame(const std::string& key, std::string frame) {
    module->UpdateKeyFrame(key, frame.data(), static_cast<int>(frame.size()));
}

Calls ModuleFixture::KeyFrameOf(const std::string& key) {
    controller.Take();
    Request(TV_STREAM_PREVIEW_START, kCurious, key);
    Request(TV_STREAM_PREVIEW_STOP, kCurious, key);
    return controller.Take();
}

bool Eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(text.c_str(), value)) << text;
    return value;
}

}  // namespace vms::test
