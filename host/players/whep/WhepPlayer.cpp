#include "host/players/whep/WhepPlayer.h"

#include <arpa/inet.h>

#include <array>
#include <list>
#include <utility>

#include "host/relay/Relay.h"
#include "host/stream/ReceiverTable.h"
#include "host/text/PercentText.h"
#include "platform/ILogHandler.h"
#include "platform/LocalIps.h"

namespace vms::host {
namespace {

/// Whether it is the address of one interface: neither a name nor "everywhere".
bool IsOneAddress(const std::string& host) {
    std::array<char, sizeof(in6_addr)> bytes{};
    return host != "0.0.0.0" && host != "::" &&
           (inet_pton(AF_INET, host.c_str(), bytes.data()) == 1 ||
            inet_pton(AF_INET6, host.c_str(), bytes.data()) == 1);
}

bool IsLoopback(const std::string& address) {
    return address.rfind("127.", 0) == 0 || address == "::1";
}

MediaCodec CodecOf(const WhepChoice& choice) {
    if (choice.audioPayload < 0)
        return MediaCodec::kUnknown;
    return choice.isMuLaw ? MediaCodec::kMuLaw : MediaCodec::kALaw;
}

}  // namespace

/// What the session tells, on threads of its own, goes to the lane.
class WhepPlayer::Events final : public whep::SessionEvents {
public:
    explicit Events(std::weak_ptr<WhepPlayer> player) : player_(std::move(player)) {}

    void Answered(const std::string& answer) noexcept override {
        Tell([answer](WhepPlayer& player) { player.Answered(answer); });
    }
    void Connected() noexcept override {
        Tell([](WhepPlayer& player) { player.Connected(); });
    }
    void PictureWanted() noexcept override {
        Tell([](WhepPlayer& player) { player.Rewind(); });
    }
    void Ended(const std::string& reason) noexcept override {
        Tell([reason](WhepPlayer& player) { player.Fail(503, reason); });
    }

private:
    template <class Step>
    void Tell(Step step) noexcept {
        try {
            if (const auto player = player_.lock())
                player->Post(std::move(step));
        } catch (const std::exception&) {  // without memory the session runs out of time
        }
    }

    const std::weak_ptr<WhepPlayer> player_;
};

WhepPlayer::WhepPlayer(Shared& shared, std::string name, StreamAddress address, WhepOffer offer,
                       const HttpRequest& request, std::shared_ptr<HttpReply> reply)
    : shared_(shared),
      name_(std::move(name)),
      offer_(std::move(offer)),
      card_{shared.context.receivers.NextNumber(),
            {request.peerAddress, request.peerPort},
            std::move(address),
            "whep"},
      lane_(std::make_shared<Lane>(shared.context.lanes)),
      reply_(std::move(reply)) {}

template <class Step>
void WhepPlayer::Post(Step step) {
    lane_->Post([self = shared_from_this(), step = std::move(step)] { step(*self); });
}

void WhepPlayer::Start() {
    if (!shared_.context.players.Add(shared_from_this())) {
        Post([](WhepPlayer& self) { self.Fail(503, "the host is ending"); });
        return;
    }
    ++shared_.context.totals.players;
    reply_->OnGone([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->Close("the browser has left");
    });
    shared_.context.live.Open(
        card_.address, [self = shared_from_this()](const std::shared_ptr<LiveShare>& share,
                                                   const SourceProblem& problem) {
            self->Post([share, problem](WhepPlayer& player) { player.Opened(share, problem); });
        });
}

void WhepPlayer::Sweep(Clock::time_point now) {
    {
        MutexLock lock(mutex_);
        if (now < pictureDeadline_)
            return;
        pictureDeadline_ = Clock::time_point::max();
    }
    Post([](WhepPlayer& self) {
        if (self.probe_ != nullptr)
            self.Fail(504, "no picture has come");
    });
}

void WhepPlayer::Close(const std::string& reason) {
    Post([reason](WhepPlayer& self) { self.Fail(503, reason); });
}

std::string WhepPlayer::Location() const {
    return "/whep/" + PercentEncode(card_.address.device) + "/" +
           std::to_string(card_.address.channel) + "/" + name_;
}

void WhepPlayer::Opened(std::shared_ptr<LiveShare> share, const SourceProblem& problem) {
    if (isOver_)
        return;
    if (share == nullptr) {
        Fail(problem.status, problem.text);
        return;
    }
    share_ = std::move(share);
    shared_.context.onStart(share_->Stream().Key());
    {
        MutexLock lock(mutex_);
        key_ = share_->Stream().Key();
        pictureDeadline_ = Clock::now() + kPicturePatience;
    }
    StartProbe();
}

void WhepPlayer::StartProbe() {
    const auto weak = weak_from_this();
    probe_ = std::make_shared<WhepProbe>(
        [weak](const WhepStream& stream) {
            if (const auto self = weak.lock())
                self->Post([stream](WhepPlayer& player) { player.Found(stream); });
        },
        [weak](const std::string& reason) {
            if (const auto self = weak.lock())
                self->Close(reason);
        });
    share_->Stream().WithOutlet(
        "whep probe " + std::to_string(card_.number), [this] { return probe_; }, [](Outlet&) {});
}

void WhepPlayer::EndProbe() {
    if (probe_ == nullptr)
        return;
    probe_->Stop();
    share_->Stream().WithOutlet(
        "whep probe " + std::to_string(card_.number), [this] { return probe_; }, [](Outlet&) {});
    probe_.reset();
}

void WhepPlayer::Found(const WhepStream& stream) {
    if (isOver_ || probe_ == nullptr)
        return;
    EndProbe();
    if (stream.video != MediaCodec::kH264)
        Fail(406, std::string("the stream is ") + CodecName(stream.video) +
                      ", browsers take h264 over WebRTC");
    else if (!OpenSession(stream))
        Fail(503, "WebRTC does not work on this host");
}

bool WhepPlayer::OpenSession(const WhepStream& stream) {
    whep::Engine* const engine = shared_.library.Engine();
    if (engine == nullptr)
        return false;
    choice_ = ChooseFrom(offer_, stream.profile, stream.sound);
    sound_ = CodecOf(choice_);
    whep::SessionRequest request;
    request.offer = NarrowOffer(offer_, choice_);
    request.videoPayload = choice_.video.payload;
    request.videoProfile = choice_.video.profile;
    request.audioPayload = choice_.audioPayload;
    request.isMuLaw = choice_.isMuLaw;
    request.hosts = Hosts();
    request.firstPort = shared_.settings.firstPort;
    request.lastPort = shared_.settings.lastPort;
    session_ = engine->Open(request, std::make_shared<Events>(weak_from_this()));
    return session_ != nullptr;
}

/// Where the browser can reach us: where the host listens.
std::vector<std::string> WhepPlayer::Hosts() const {
    if (IsOneAddress(shared_.settings.host))
        return {shared_.settings.host};
    if (shared_.settings.host == "localhost")
        return {"127.0.0.1"};
    std::list<std::string> addresses;
    GetLocalIps(addresses);
    std::vector<std::string> hosts(addresses.begin(), addresses.end());
    if (IsLoopback(card_.peer.address) || hosts.empty())
        hosts.emplace_back("127.0.0.1");
    return hosts;
}

void WhepPlayer::Answered(const std::string& answer) {
    if (isOver_ || reply_ == nullptr)
        return;
    const std::string whole = WidenAnswer(offer_, choice_, answer);
    if (whole.empty()) {
        Fail(406, "nothing of the offer can be sent");
        return;
    }
    const auto reply = std::exchange(reply_, nullptr);
    reply->Send({201, "application/sdp", whole, {{"Location", Location()}}});
}

void WhepPlayer::Connected() {
    if (isOver_)
        return;
    const auto outlet = std::make_shared<WhepOutlet>(
        session_, sound_, [weak = weak_from_this()](const std::string& reason) {
            if (const auto self = weak.lock())
                self->Close(reason);
        });
    {
        MutexLock lock(mutex_);
        outlet_ = outlet;
    }
    Join();
}

template <class Use>
void WhepPlayer::WithOutlet(Use use) {
    std::shared_ptr<WhepOutlet> outlet;
    {
        MutexLock lock(mutex_);
        outlet = outlet_;
    }
    if (outlet != nullptr)
        share_->Stream().WithOutlet(
            "whep " + std::to_string(card_.number), [&outlet] { return outlet; },
            [&](Outlet&) { use(*outlet); });
}

void WhepPlayer::Join() {
    begun_ = Clock::now();
    WithOutlet([](WhepOutlet& outlet) { outlet.Begin(); });
}

void WhepPlayer::Rewind() {
    if (isOver_ || Clock::now() - begun_ < kRewindPause)
        return;
    WithOutlet([](WhepOutlet& outlet) { outlet.Leave(); });
    Join();
}

void WhepPlayer::Fail(int status, const std::string& text) {
    if (isOver_)
        return;
    if (const auto reply = std::exchange(reply_, nullptr))
        reply->Send(HttpFailure(status, text));
    Leave(text);
}

void WhepPlayer::Leave(const std::string& reason) {
    isOver_ = true;
    shared_.context.log.Log(1, "Whep", "player %lld ends: %s", card_.number, reason.c_str());
    EndProbe();
    WithOutlet([](WhepOutlet& outlet) { outlet.Stop(); });
    session_.reset();
    share_.reset();
    shared_.context.players.Remove(card_.number);
    shared_.onOver(*this);
}

PlayerInfo WhepPlayer::Describe() const {
    PlayerInfo info = card_.Describe(Counts());
    MutexLock lock(mutex_);
    info.key = key_;
    return info;
}

SendCounts WhepPlayer::Counts() const {
    std::shared_ptr<WhepOutlet> outlet;
    {
        MutexLock lock(mutex_);
        outlet = outlet_;
    }
    return outlet == nullptr ? SendCounts{} : outlet->Sent();
}

}  // namespace vms::host
