#include "host/players/rtsp/RtspSession.h"

#include <openssl/rand.h>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <utility>

#include "host/players/rtsp/RtspLive.h"
#include "host/players/rtsp/RtspPlayback.h"
#include "host/stream/ReceiverTable.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

namespace asio = boost::asio;

constexpr char kMethods[] =
    "OPTIONS, DESCRIBE, SETUP, PLAY, PAUSE, TEARDOWN, GET_PARAMETER, SET_PARAMETER";
constexpr char kReplay[] = "onvif-replay";

RtspAnswer Failure(int status) {
    return {status};
}

/// With a sentence for whoever reads along.
RtspAnswer Failure(int status, const std::string& text) {
    RtspAnswer answer{status};
    if (!text.empty()) {
        answer.headers = {{"Content-Type", "text/plain"}};
        answer.body = text + "\n";
    }
    return answer;
}

std::string NewId() {
    unsigned char bytes[8];
    if (RAND_bytes(bytes, sizeof bytes) != 1)
        throw std::bad_alloc();
    std::string id;
    for (const unsigned char byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", byte);
        id += digits;
    }
    return id;
}

std::string Hex(uint32_t number) {
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08X", number);
    return digits;
}

/// "name/channel", as a list of players has it.
std::string NameOf(const RtspTarget& target) {
    return (target.isLive ? "live/" : "play/") + target.stream.device + "/" +
           std::to_string(target.stream.channel);
}

/// The low byte of a CSeq.
uint8_t LowByte(std::string_view sequence) {
    uint32_t number = 0;
    std::from_chars(sequence.data(), sequence.data() + sequence.size(), number);
    return static_cast<uint8_t>(number);
}

}  // namespace

RtspSession::RtspSession(RtspShared& shared, std::shared_ptr<Connection> connection, Peer peer)
    : shared_(shared), connection_(std::move(connection)), peer_(std::move(peer)) {}

RtspSession::~RtspSession() {
    End();
}

void RtspSession::Handle(const RtspRequest& request, Done done) {
    const std::string_view required = request.Header("Require");
    if (!required.empty() && required != kReplay) {
        RtspAnswer answer = Failure(551);
        answer.headers = {{"Unsupported", std::string(required)}};
        done(std::move(answer));
        return;
    }
    if (request.method == "DESCRIBE") {
        Describe(request, std::move(done));
    } else if (request.method == "SETUP") {
        SetUp(request, std::move(done));
    } else if (request.method == "PLAY") {
        bool isSent = false;
        RtspAnswer answer = Play(request, isSent);
        done(isSent ? std::nullopt : std::optional(std::move(answer)));
    } else if (request.method == "PAUSE") {
        done(Pause(request));
    } else if (request.method == "TEARDOWN") {
        done(TearDown(request));
    } else if (request.method == "GET_PARAMETER" || request.method == "SET_PARAMETER") {
        done(Parameter(request));
    } else {
        RtspAnswer answer = Failure(request.method == "OPTIONS" ? 200 : 501);
        answer.headers = {{"Public", kMethods}};
        done(std::move(answer));
    }
}

void RtspSession::Tick() {
    if (source_ == nullptr)
        return;
    if (!isReady_ && Clock::now() - openedAt_ >= shared_.settings.open)
        OnReady(attempt_, 504, "the device sends no pictures");
    else
        source_->Tick();
}

std::optional<RtspSession::Clock::time_point> RtspSession::HeardOverUdp() const {
    return udp_ == nullptr ? std::nullopt : std::optional(udp_->Heard());
}

// Opening a stream

std::unique_ptr<RtspSource> RtspSession::MakeSource(const RtspTarget& target) const {
    if (target.isLive)
        return std::make_unique<RtspLive>(target.stream, shared_.context);
    const StreamAddress& stream = target.stream;
    return std::make_unique<RtspPlayback>(
        PlaybackRequest{stream.device, stream.channel, stream.stream, target.from, target.to,
                        false},
        shared_.context);
}

/// Opens the stream unless it is open. @param ready told 200, or what is wrong
void RtspSession::Prepare(const RtspTarget& target,
                          std::function<void(int, const std::string&)> ready) {
    if (source_ != nullptr && isReady_ && target.SameStream(target_)) {
        ready(200, "");
        return;
    }
    target_ = target;
    isReady_ = false;
    source_ = nullptr;  // its end before the next one's beginning
    source_ = MakeSource(target);
    whenReady_ = std::move(ready);
    openedAt_ = Clock::now();
    source_->Open([weak = weak_from_this(), attempt = ++attempt_, &io = connection_->Io()](
                      int status, const std::string& text) {
        asio::post(io.Context(), [weak, attempt, status, text] {
            if (const auto self = weak.lock())
                self->OnReady(attempt, status, text);
        });
    });
}

void RtspSession::OnReady(uint64_t attempt, int status, const std::string& text) {
    if (attempt != attempt_ || source_ == nullptr || isReady_)
        return;
    isReady_ = status == 200;
    if (!isReady_)
        source_ = nullptr;
    if (const auto ready = std::exchange(whenReady_, nullptr))
        ready(status, text);
}

// Requests

void RtspSession::Describe(const RtspRequest& request, Done done) {
    const std::string_view accepted = request.Header("Accept");
    RtspTarget target;
    std::string text;
    const int status = ReadRtspTarget(request.uri, std::time(nullptr), target, text);
    if (!accepted.empty() && accepted.find("application/sdp") == accepted.npos &&
        accepted.find("*/*") == accepted.npos) {
        done(Failure(406));
    } else if (status != 200) {
        done(Failure(status, text));
    } else if (IsOpen() && !target.SameStream(target_)) {
        done(Failure(455));
    } else {
        Prepare(target,
                [this, request, done = std::move(done)](int opened, const std::string& problem) {
                    done(opened == 200 ? Description(request) : Failure(opened, problem));
                });
    }
}

RtspAnswer RtspSession::Description(const RtspRequest& request) const {
    std::string sdp =
        "v=0\r\no=- 1 1 IN IP4 0.0.0.0\r\ns=" + std::string(target_.isLive ? "Live" : "Recording") +
        "\r\nc=IN IP4 0.0.0.0\r\nt=0 0\r\na=control:" + request.uri +
        "\r\na=range:" + source_->RangeText() + "\r\n";
    size_t track = 0;
    for (const std::string& description : source_->Descriptions())
        sdp += description + "a=control:" + RtspTrackUri(request.uri, track++) + "\r\n";
    RtspAnswer answer;
    answer.headers = {{"Content-Base", request.uri},
                      {"Content-Type", "application/sdp"},
                      {"Cache-Control", "no-cache"}};
    answer.body = std::move(sdp);
    return answer;
}

void RtspSession::SetUp(const RtspRequest& request, Done done) {
    RtspTarget target;
    std::string text;
    const int status = ReadRtspTarget(request.uri, std::time(nullptr), target, text);
    if (status != 200) {
        done(Failure(status, text));
    } else if (IsOpen() && IsOther(request)) {
        done(Failure(request.Header("Session").empty() ? 455 : 454));
    } else if (IsOpen() && !target.SameStream(target_)) {
        done(Failure(455));
    } else {
        Prepare(target, [this, request, target, done = std::move(done)](
                            int opened, const std::string& problem) {
            done(opened == 200 ? SetUpTrack(request, target) : Failure(opened, problem));
        });
    }
}

RtspAnswer RtspSession::SetUpTrack(const RtspRequest& request, const RtspTarget& target) {
    const size_t count = source_->Descriptions().size();
    if (target.track < 0 && count > 1)
        return Failure(459);
    const auto track = static_cast<size_t>(std::max(target.track, 0));
    if (track >= count)
        return Failure(404);
    if (isPlaying_)
        return Failure(455);
    RtspTransport transport;
    int status = ChooseRtspTransport(request.Header("Transport"), peer_.address, transport);
    if (status == 200 && IsOpen() && transport.isTcp != (udp_ == nullptr))
        status = 461;
    std::string told;
    if (status == 200)
        status = AddTrack(track, transport, told);
    if (status != 200 && tracks_ == 0)
        EndPlayer();
    if (status != 200)
        return Failure(status);
    tracks_ |= 1U << track;
    uri_ = request.uri;
    RtspAnswer answer = Success();
    answer.headers.emplace_back("Transport", told + ";ssrc=" + Hex(source_->TrackSource(track)));
    return answer;
}

/// @param answer set to the transport as it is
int RtspSession::AddTrack(size_t track, const RtspTransport& transport, std::string& answer) {
    if (!IsOpen() && !StartPlayer(transport))
        return 503;
    if (!transport.isTcp)
        return AddUdpTrack(track, transport, answer);
    answer = "RTP/AVP/TCP;unicast;interleaved=" + std::to_string(2 * track) + "-" +
             std::to_string(2 * track + 1);
    return 200;
}

int RtspSession::AddUdpTrack(size_t track, const RtspTransport& transport, std::string& answer) {
    auto pair = UdpPair::Open(connection_->Io().Context(), peer_.address, transport);
    if (pair == nullptr)
        return 503;
    const auto ports = [](int first, int second) {
        return std::to_string(first) + "-" + std::to_string(second);
    };
    answer = "RTP/AVP;unicast;client_port=" + ports(transport.rtpPort, transport.rtcpPort) +
             ";server_port=" + ports(pair->Port(), pair->Port() + 1);
    udp_->Add(track, std::move(pair));
    return 200;
}

/// @return false when there is no room for one
bool RtspSession::StartPlayer(const RtspTransport& transport) {
    PlayerContext& context = shared_.context;
    if (!transport.isTcp) {
        if (shared_.udpPlayers.fetch_add(1) >= shared_.settings.udpPlayers) {
            --shared_.udpPlayers;
            return false;
        }
        udp_ = std::make_shared<UdpFlow>(
            connection_->Io(), shared_.settings.send,
            [weak = std::weak_ptr<Connection>(connection_), &totals = context.totals](
                bool isTooSlow, const char* reason) {
                totals.slowPlayers += isTooSlow ? 1 : 0;
                if (const auto connection = weak.lock())
                    connection->AskToEnd(reason);
            });
    }
    id_ = NewId();
    player_ = std::make_shared<RtspPlayer>(connection_, udp_, context.receivers.NextNumber(), peer_,
                                           NameOf(target_), target_.stream);
    if (!context.players.Add(player_))
        return false;
    ++context.totals.players;
    return true;
}

RtspAnswer RtspSession::Play(const RtspRequest& request, bool& isSent) {
    if (!IsOpen() || IsOther(request))
        return Failure(454);
    RtspPlayOrder order{player_,
                        tracks_,
                        {},
                        ReadRtspScale(request.Header("Scale")),
                        LowByte(request.Header("CSeq")),
                        request.Header("Require") == kReplay};
    const std::string_view header = request.Header("Range");
    const auto range = ReadRtspRange(header);
    if (!header.empty() && !range)
        return Failure(457);
    order.range = range.value_or(RtspRange{});
    const std::string sequence(request.Header("CSeq"));
    const bool hasScale = !request.Header("Scale").empty();
    const int status = source_->Play(order, [&](const RtspPlayResult& result) {
        RtspAnswer answer = Success();
        answer.headers.emplace_back("Range", result.range);
        if (hasScale)
            answer.headers.emplace_back("Scale", RtspScaleText(result.speed));
        std::string info;
        for (size_t track = 0; track < result.starts.size(); ++track) {
            if ((tracks_ >> track & 1) == 0)
                continue;
            info += (info.empty() ? "url=" : ",url=") + RtspTrackUri(uri_, track) +
                    ";seq=" + std::to_string(result.starts[track].sequence) +
                    ";rtptime=" + std::to_string(result.starts[track].time);
        }
        answer.headers.emplace_back("RTP-Info", info);
        return RtspAnswerText(answer, sequence);
    });
    isSent = status == 200;
    isPlaying_ = isPlaying_ || isSent;
    return Failure(status);
}

RtspAnswer RtspSession::Pause(const RtspRequest& request) {
    if (!IsOpen() || IsOther(request))
        return Failure(454);
    source_->Pause();
    isPlaying_ = false;
    return Success();
}

RtspAnswer RtspSession::TearDown(const RtspRequest& request) {
    if (!IsOpen() || IsOther(request))
        return Failure(454);
    RtspAnswer answer = Success();
    End();
    return answer;
}

/// Asked for by players that only want to be heard of; there is nothing to get or set.
RtspAnswer RtspSession::Parameter(const RtspRequest& request) const {
    const bool names = !request.Header("Session").empty();
    if (names && (!IsOpen() || IsOther(request)))
        return Failure(454);
    if (!request.body.empty())
        return Failure(451);
    return names ? Success() : RtspAnswer{};
}

void RtspSession::End() {
    ++attempt_;
    whenReady_ = nullptr;
    source_ = nullptr;
    isReady_ = false;
    EndPlayer();
}

void RtspSession::EndPlayer() {
    isPlaying_ = false;
    tracks_ = 0;
    if (udp_ != nullptr) {
        udp_->Close();
        --shared_.udpPlayers;
    }
    udp_ = nullptr;
    if (player_ != nullptr)
        shared_.context.players.Remove(player_->Number());
    player_ = nullptr;
}

/// Whether it belongs to another session than the one that is open.
bool RtspSession::IsOther(const RtspRequest& request) const {
    const std::string_view named = request.Header("Session");
    return named.substr(0, std::min(named.find(';'), named.size())) != id_;
}

RtspAnswer RtspSession::Success() const {
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(shared_.settings.session).count();
    RtspAnswer answer;
    answer.headers = {{"Session", id_ + ";timeout=" + std::to_string(seconds)}};
    return answer;
}

}  // namespace vms::host
