#include "host/api/TalkPlayer.h"

#include "host/http/HttpText.h"
#include "host/players/websocket/EnterPlayer.h"
#include "host/players/websocket/WebSocketFrame.h"
#include "host/stream/ReceiverTable.h"
#include "host/stream/StreamModules.h"
#include "host/text/JsonText.h"
#include "media/unit/TalkHeader.h"

namespace vms::host {
namespace {

constexpr char kAlaw[] = "1";
constexpr char kMulaw[] = "2";

std::string Member(const char* name, const std::string& value) {
    Json::Value text(Json::objectValue);
    text[name] = value;
    return CompactJson(text);
}

/// Reasons of close frames are short, and plain.
std::string CloseReason(const std::string& problem) {
    std::string reason = problem.substr(0, 100);
    for (char& letter : reason) {
        if (letter < ' ' || letter > '~')
            letter = '?';
    }
    return reason;
}

}  // namespace

TalkPlayer::TalkPlayer(std::shared_ptr<Connection> connection, PlayerContext& context,
                       const std::shared_ptr<Talkers>& talkers,
                       const std::map<std::string, std::string>& query)
    : connection_(std::move(connection)),
      context_(context),
      talkers_(talkers),
      lane_(std::make_shared<Lane>(context.lanes)),
      number_(context.receivers.NextNumber()) {
    const std::string codec = ValueIn(query, "codec");
    codec_ = codec == "mulaw" ? kMulaw : kAlaw;
    problem_ = ReadStreamAddress(ValueIn(query, "device"), ValueIn(query, "channel"), "", address_);
    if (problem_.empty() && !codec.empty() && codec != "alaw" && codec != "mulaw")
        problem_ = "\"codec\" must be alaw or mulaw";
}

bool TalkPlayer::Opened(const Peer& peer) {
    peer_ = peer;
    since_ = std::time(nullptr);
    opened_ = EnterPlayer(context_, *lane_, shared_from_this(), peer);
    return opened_;
}

std::string TalkPlayer::Begin() {
    if (!problem_.empty()) {
        SendText(Member("error", problem_));
        return CloseReason(problem_);
    }
    auto place = talkers_->Take(address_.device);
    if (place == nullptr) {
        const std::string problem = "somebody is talking to this device already";
        SendText(Member("error", problem));
        return problem;
    }
    lane_->Post([self = shared_from_this(), place = std::move(place)] {
        if (!self->left_)
            self->place_ = place;
    });
    context_.live.Open(
        address_, [self = shared_from_this()](const std::shared_ptr<LiveShare>& share,
                                              const SourceProblem& problem) {
            self->lane_->Post([self, share, problem] { self->Attach(share, problem); });
        });
    return "";
}

void TalkPlayer::Received(std::string frame, bool isText, std::function<void()> done) {
    lane_->Post([self = shared_from_this(), sound = std::move(frame), isText,
                 done = std::move(done)]() mutable {
        if (isText)
            done();
        else
            self->Take({std::move(sound), std::move(done)});
    });
}

void TalkPlayer::Gone(int code, const std::string& reason) {
    if (std::exchange(gone_, true) || !opened_)
        return;
    lane_->Post([self = shared_from_this(), code, reason] { self->Leave(code, reason); });
}

PlayerInfo TalkPlayer::Describe() const {
    PlayerInfo info;
    info.id = number_;
    info.address = peer_.address;
    info.port = peer_.port;
    info.since = since_;
    info.kind = "talk";
    info.device = address_.device;
    info.channel = address_.channel;
    info.counts = connection_->Counts();
    return info;
}

void TalkPlayer::Attach(const std::shared_ptr<LiveShare>& share, const SourceProblem& problem) {
    if (left_)
        return;
    if (share == nullptr) {
        Fail(problem.text);
        return;
    }
    share_ = share;
    if (context_.modules.OnRequest(number_,
                                   {TV_STREAM_TALK_START, share_->Stream().Key(), codec_}) != 0) {
        Fail("the device takes no talk");
        return;
    }
    begun_ = Clock::now();
    SendText(Member("state", "talking"));
    while (!early_.empty() && !failed_) {
        Frame frame = std::move(early_.front());
        early_.pop_front();
        Say(std::move(frame));
    }
}

void TalkPlayer::Take(Frame frame) {
    if (left_ || failed_)
        frame.done();
    else if (begun_ == Clock::time_point())
        early_.push_back(std::move(frame));
    else
        Say(std::move(frame));
}

void TalkPlayer::Say(Frame frame) {
    said_ += frame.sound.size();
    const auto time =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begun_ + kAhead);
    if (frame.sound.size() > kLongestFrame) {
        Fail("a frame of sound is longer than 64 KiB");
    } else if (said_ > static_cast<size_t>(time.count()) * kBytesPerSecond / 1000) {
        Fail("sound comes faster than it can be spoken");
    } else if (!frame.sound.empty()) {
        std::string unit(kTalkHeaderSize, '\0');
        WriteTalkHeader(frame.sound.size(), unit.data());
        unit += frame.sound;
        context_.modules.OnStream(number_, unit);
    }
    frame.done();
}

void TalkPlayer::Leave(int code, const std::string& reason) {
    left_ = true;
    for (const Frame& frame : early_)
        frame.done();
    early_.clear();
    if (share_ != nullptr)
        context_.modules.OnRequest(number_,
                                   {TV_STREAM_TALK_STOP, share_->Stream().Key(), std::string()});
    RemovePlayer(context_, number_, code, reason);
    share_ = nullptr;
    place_ = nullptr;
}

void TalkPlayer::Fail(const std::string& problem) {
    failed_ = true;
    SendText(Member("error", problem));
    connection_->AskToEnd(CloseReason(problem));
}

void TalkPlayer::SendText(const std::string& text) {
    connection_->Send(TextFrame(text.size()), text, SendQueue::Class::kControl);
}

}  // namespace vms::host
