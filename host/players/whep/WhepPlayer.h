#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/http/HttpExchange.h"
#include "host/players/PlayerCard.h"
#include "host/players/PlayerContext.h"
#include "host/players/PlayerTable.h"
#include "host/players/whep/WhepLibrary.h"
#include "host/players/whep/WhepOffer.h"
#include "host/players/whep/WhepOutlet.h"
#include "host/players/whep/WhepProbe.h"
#include "host/players/whep/WhepSettings.h"
#include "host/sources/LiveStreams.h"
#include "host/stream/Lanes.h"
#include "platform/Mutex.h"

namespace vms::host {

/// One browser that watches over WebRTC, from its offer to its end: the stream is opened, its
/// coding looked at, the offer answered; once the browser has come it is given the newest group and
/// what follows. All steps are taken on a lane. Thread-safe.
class WhepPlayer final : public Player, public std::enable_shared_from_this<WhepPlayer> {
public:
    using Clock = std::chrono::steady_clock;

    /// Longest wait for a picture of a stream that has been opened.
    static constexpr std::chrono::seconds kPicturePatience{10};
    /// A browser is given the group anew no more often.
    static constexpr std::chrono::milliseconds kRewindPause{1000};

    /// What all browsers share; outlives them.
    struct Shared {
        PlayerContext& context;
        WhepLibrary& library;
        const WhepSettings& settings;
        std::function<void(const WhepPlayer& player)> onOver;  ///< any thread; once
    };

    /// @param name unguessable @param request valid during the call
    WhepPlayer(Shared& shared, std::string name, StreamAddress address, WhepOffer offer,
               const HttpRequest& request, std::shared_ptr<HttpReply> reply);

    /// Begins; answers the request sooner or later.
    void Start();

    /// Gives up waiting. Any thread.
    void Sweep(Clock::time_point now);

    const std::string& Name() const { return name_; }
    const StreamAddress& Address() const { return card_.address; }

    /// "/whep/DEVICE/CHANNEL/NAME", encoded.
    std::string Location() const;

    long long Number() const override { return card_.number; }
    PlayerInfo Describe() const override VMS_EXCLUDES(mutex_);
    SendCounts Counts() const override VMS_EXCLUDES(mutex_);
    void Close(const std::string& reason) override;

private:
    class Events;

    template <class Step>
    void Post(Step step);

    // Steps, on the lane:
    void Opened(std::shared_ptr<LiveShare> share, const SourceProblem& problem);
    void Found(const WhepStream& stream);
    void Answered(const std::string& answer);
    void Connected();
    void Rewind();
    void Fail(int status, const std::string& text);
    void Leave(const std::string& reason);

    void StartProbe();
    void EndProbe();
    bool OpenSession(const WhepStream& stream);
    void Join();
    template <class Use>
    void WithOutlet(Use use);
    std::vector<std::string> Hosts() const;

    Shared& shared_;
    const std::string name_;
    const WhepOffer offer_;
    const PlayerCard card_;
    const std::shared_ptr<Lane> lane_;
    // Of the lane:
    std::shared_ptr<HttpReply> reply_;  ///< null = answered
    std::shared_ptr<LiveShare> share_;
    std::shared_ptr<WhepProbe> probe_;
    WhepChoice choice_;
    MediaCodec sound_ = MediaCodec::kUnknown;
    std::shared_ptr<whep::Session> session_;
    Clock::time_point begun_{};  ///< when the group was last given
    bool isOver_ = false;

    mutable Mutex mutex_;
    Clock::time_point pictureDeadline_ VMS_GUARDED_BY(mutex_) = Clock::time_point::max();
    std::shared_ptr<WhepOutlet> outlet_ VMS_GUARDED_BY(mutex_);  ///< changed on the lane
    std::string key_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
