#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "sim/httpdevice/faults/StreamFault.h"
#include "sim/httpdevice/media/ActionRequest.h"
#include "sim/httpdevice/media/ConnectionLogic.h"
#include "sim/httpdevice/media/MediaStream.h"
#include "sim/httpdevice/media/SyncActions.h"

namespace vms::sim::httpdevice {

/// The path "/": live, playback, download, synchronous channels, talk.
class MediaConnection final : public ConnectionLogic {
public:
    explicit MediaConnection(Device& device);
    ~MediaConnection() override;
    MediaConnection(const MediaConnection&) = delete;
    MediaConnection& operator=(const MediaConnection&) = delete;

    void OnText(Clock::time_point now, std::string_view text, Batch& batch) override;
    void OnBinary(Clock::time_point now, std::string_view bytes, Batch& batch) override;
    void OnTick(Clock::time_point now, size_t queued, Batch& batch) override;
    Clock::time_point NextTick(Clock::time_point now) const override;

private:
    struct Talk {
        int channel;
        AudioCodec codec;
    };

    ActionResult Perform(Clock::time_point now, const ActionRequest& request);
    ActionResult Play(Clock::time_point now, const ActionRequest& request);
    ActionResult PlayRecorded(Clock::time_point now, const ActionRequest& request);
    ActionResult PlaySync(Clock::time_point now, const ActionRequest& request);
    ActionResult StartTalk(const ActionRequest& request);
    ActionResult Control(Clock::time_point now, const ActionRequest& request);
    ActionResult Seek(Clock::time_point now, const Json::Value& data);
    ActionResult SetSpeed(Clock::time_point now, const Json::Value& data);
    void Use(const std::string& token, std::unique_ptr<MediaStream> stream);
    void Leave();
    bool KeepsSync(Clock::time_point now, const std::string& token);
    bool CheckSessions(Clock::time_point now, Batch& batch);
    void TakeFrames(Clock::time_point now, size_t queued, Batch& batch);

    Device& device_;
    StreamFault fault_;
    std::unique_ptr<MediaStream> stream_;
    std::optional<Talk> talk_;
    std::string token_;      ///< login session of the stream; "" = no stream
    std::string syncToken_;  ///< "" = not synchronous
    int syncChannel_ = 0;
    std::set<std::string> created_;  ///< synchronous sessions that this connection keeps alive
    bool endSent_ = false;
};

}  // namespace vms::sim::httpdevice
