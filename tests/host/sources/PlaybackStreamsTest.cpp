// Playbacks by address: what the module hears, what the sink gets, and how they end.
#include "host/sources/PlaybackStreams.h"

#include <vector>

#include "tests/host/net/TestUnit.h"
#include "tests/host/sources/SourcesFixture.h"

namespace {

using namespace vms::host;
using vms::host::test::FakeStreamModule;
using vms::host::test::SourcesFixture;

class Sink final : public PlaybackSink {
public:
    bool Take(const vms::MediaUnit& unit) override {
        serials.push_back(unit.Header().serial);
        return true;
    }
    int QueuedUnits() const override { return 7; }
    void Tell(const std::string& message) override { messages.push_back(message); }
    void End(bool isWhole, const std::string& reason) override {
        messages.push_back((isWhole ? "whole: " : "broken: ") + reason);
    }

    std::vector<uint32_t> serials;
    std::vector<std::string> messages;
};

class PlaybackStreamsTest : public SourcesFixture {
protected:
    using Outcome = std::pair<std::shared_ptr<Playback>, SourceProblem>;

    Outcome Play(const PlaybackRequest& request) {
        std::promise<Outcome> promise;
        playbacks_.Open(request, sink_, [&promise](const auto& playback, const auto& problem) {
            promise.set_value({playback, problem});
        });
        return promise.get_future().get();
    }

    std::shared_ptr<Sink> sink_ = std::make_shared<Sink>();
};

TEST_F(PlaybackStreamsTest, TheModuleHearsAllInOrderAndTheEnd) {
    auto playback = Play({"hall", 2, 1, 100, 200, false}).first;
    ASSERT_NE(playback, nullptr);
    const long long number = playback->Number();
    const auto receiver = receivers_.Find(number);
    ASSERT_NE(receiver, nullptr);
    EXPECT_EQ(receiver->QueuedUnits(), 7);
    const auto unit = test::TestUnit(test::UnitType::kKey, 5, 100);
    EXPECT_TRUE(receiver->SendUnit(unit, true));
    playback->Pause();
    playback->Seek(150);
    playback->SetSpeed(-2);
    playback->Resume();
    for (const char* message : {"hello", "playback end"}) {
        __tagTvCommand command{};
        command.body = message;
        receiver->SendCommand(command);
    }
    playback.reset();
    ASSERT_TRUE(module_.WaitFor("close", 1));
    EXPECT_EQ(sink_->serials, std::vector<uint32_t>{5});
    EXPECT_EQ(sink_->messages, (std::vector<std::string>{"hello", "whole: playback end"}));
    EXPECT_EQ(module_.All()[number],
              (FakeStreamModule::Events{
                  "connect  without a port", R"(request 1049090 key-1 {"beginTime":100,"ch)",
                  "request 1049092 key-1 ", "request 1049095 key-1 150", "request 1049094 key-1 -2",
                  "request 1049093 key-1 ", "request 1049091 key-1 ", "close"}));
    EXPECT_FALSE(receiver->SendUnit(unit, true)) << "nobody takes it any more";
}

TEST_F(PlaybackStreamsTest, SaysWhyThereIsNothingToPlay) {
    EXPECT_EQ(Play({"nobody", 0, 0, 100, 200, false}).second.status, 404);
    isGone = true;
    EXPECT_EQ(Play({"hall", 0, 0, 100, 200, true}).second.status, 404);
    ASSERT_TRUE(module_.WaitFor("close", 1)) << "and leaves nothing behind";
}

}  // namespace
