#pragma once

#include <gtest/gtest.h>
#include <json/value.h>

#include <atomic>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "platform/ILogHandler.h"
#include "platform/Mutex.h"
#include "tests/videodevice/FakeController.h"
#include "tests/videodevice/FakeFamily.h"
#include "videodevice/VideoDeviceModule.h"

namespace vms::test {

using Calls = std::vector<std::string>;

/// Remembers lines as "level tag text".
class LogProbe final : public ILogHandler {
public:
    void SetLevel(int) override {}
    [[gnu::format(printf, 4, 5)]] void Log(int level, const char* function, const char* format,
                                           ...) override;
    Calls Take();

private:
    Mutex mutex_;
    Calls lines_ VMS_GUARDED_BY(mutex_);
};

/// A module on a fake family, on the real bus, with a clock that stands still.
class ModuleFixture : public testing::Test {
protected:
    ModuleFixture();
    /// Checks on the way that the module has destroyed nothing that was still open.
    ~ModuleFixture() override;

    /// The one answer to a request that a bus worker has carried out.
    struct Answer {
        int result = 0;
        std::string body;
        bool operator==(const Answer&) const = default;
        friend std::ostream& operator<<(std::ostream& out, const Answer& answer) {
            return out << answer.result << " '" << answer.body << "'";
        }
    };
    Answer Ask(__enumTvCommand id, const std::string& deviceId, const std::string& body = "");
    /// Answers of a request, however many.
    std::vector<Answer> AskAll(__enumTvCommand id, const std::string& deviceId,
                               const std::string& body);
    /// Key of a new stream; empty on failure.
    std::string Preview(const std::string& body = R"({"id": "d"})");
    std::string UrlOf(__enumTvCommand id, const std::string& body = "");

    int Request(int id, long long connection, const std::string& key, const std::string& body = "");
    int Deliver(const std::string& key, std::string unit);
    void KeyFrame(const std::string& key, std::string frame);
    /// What a player gets that attaches now.
    Calls KeyFrameOf(const std::string& key);
    void Tick() { EXPECT_EQ(module->OnTimer(), 0); }
    Calls TakeCalls() { return factory.script.Take(); }

    FakeFactory factory;
    FakeController controller;
    std::atomic<int64_t> now{1000};
    std::unique_ptr<VideoDeviceModule> module;
};

/// Whether the condition came true in time.
[[nodiscard]] bool Eventually(const std::function<bool()>& condition);

/// Members of a JSON text.
Json::Value Parsed(const std::string& text);

}  // namespace vms::test
