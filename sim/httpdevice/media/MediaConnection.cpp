#include "sim/httpdevice/media/MediaConnection.h"

#include <algorithm>
#include <utility>

#include "sim/httpdevice/api/Json.h"
#include "sim/httpdevice/media/FrameHeader.h"

namespace vms::sim::httpdevice {

namespace {

constexpr size_t kMaxQueued = 4 * 1024 * 1024;  // what a live stream may be behind
constexpr size_t kBurst = 256 * 1024;           // what a recorded stream hands over at once
constexpr std::chrono::milliseconds kShortest{10};
constexpr std::chrono::milliseconds kLongest{250};
constexpr int kMaxMask = 0xffff;
constexpr long long kMaxText = 256 * 1024;  // KiB

OutMessage HugeText(long long kibibytes) {
    const auto size = static_cast<size_t>(std::min(kibibytes, kMaxText)) << 10;
    Json::Value data(Json::objectValue);
    data["text"] = std::string(size, 'x');
    return ActionAnswer("note", ResultCode::kDone, data);
}

}  // namespace

MediaConnection::MediaConnection(Device& device) : device_(device), fault_(device.faults()) {}

MediaConnection::~MediaConnection() {
    Leave();
}

void MediaConnection::Use(const std::string& token, std::unique_ptr<MediaStream> stream) {
    Leave();
    token_ = token;
    stream_ = std::move(stream);
    ++device_.stats().openStreams;
}

void MediaConnection::Leave() {
    if (!token_.empty())
        --device_.stats().openStreams;
    token_.clear();
    syncToken_.clear();
    stream_.reset();
    talk_.reset();
    endSent_ = false;
}

ActionResult MediaConnection::Play(Clock::time_point now, const ActionRequest& request) {
    const auto channel = Number(request.data, "channel", 0, device_.config().channels - 1);
    const auto stream = Number(request.data, "stream", 0, device_.StreamCount() - 1, 0);
    if (!channel || !stream)
        return ResultCode::kBadValue;
    Use(request.token,
        std::make_unique<MediaStream>(StreamMode::kLive, device_.Tracks(static_cast<int>(*stream)),
                                      RecordedWindow(), device_.liveClock(), now));
    return ResultCode::kDone;
}

ActionResult MediaConnection::PlayRecorded(Clock::time_point now, const ActionRequest& request) {
    const Json::Value& data = request.data;
    const auto channel = Number(data, "channel", 0, device_.config().channels - 1);
    const auto stream = Number(data, "stream", 0, device_.StreamCount() - 1, 0);
    const auto begin = TimeMs(data, "startTime");
    const auto end = TimeMs(data, "endTime");
    const auto seek = TimeMs(data, "seekTime", 0);
    const auto type = Number(data, "fileType", 0, kMaxMask, 0);
    const auto speed = SpeedOf(data, 1);
    if (!channel || !stream || !begin || !end || !seek || !type || !speed)
        return ResultCode::kBadValue;
    const int mask = static_cast<int>(*type);
    const auto& timeline = device_.channel(static_cast<int>(*channel)).timeline;
    const auto start = StartOfWindow(*timeline, *seek, *begin, *end, mask);
    if (!start)
        return ResultCode::kBadValue;
    const bool download = request.action == "download";
    auto clock = std::make_shared<MediaClock>(*start, !download, now);
    clock->SetSpeed(now, download ? 1 : *speed, false);
    Use(request.token, std::make_unique<MediaStream>(
                           download ? StreamMode::kDownload : StreamMode::kPlayback,
                           device_.Tracks(static_cast<int>(*stream)),
                           RecordedWindow{timeline, *begin, *end, mask}, std::move(clock), now));
    return ResultCode::kDone;
}

ActionResult MediaConnection::PlaySync(Clock::time_point now, const ActionRequest& request) {
    const std::string token = Text(request.data, "token");
    const auto channel = Number(request.data, "channel", 0, device_.config().channels - 1);
    const SyncTable::Shared session = device_.sync().Find(now, token);
    if (!channel || !session || !device_.sync().HasChannel(token, static_cast<int>(*channel)))
        return ResultCode::kBadValue;
    const int number = static_cast<int>(*channel);
    Use(request.token, std::make_unique<MediaStream>(
                           StreamMode::kSync, device_.Tracks(session->stream),
                           RecordedWindow{device_.channel(number).timeline, session->beginMs,
                                          session->endMs, session->fileType},
                           session->clock, now));
    syncToken_ = token;
    syncChannel_ = number;
    return ResultCode::kDone;
}

ActionResult MediaConnection::StartTalk(const ActionRequest& request) {
    const auto channel = Number(request.data, "channel", 0, device_.config().channels - 1);
    const int own = TalkCode(device_.config().audio);
    const auto wanted = Number(request.data, "encode", 0, 0xff, own);
    if (!channel || wanted != own)
        return ResultCode::kBadValue;
    Use(request.token, nullptr);
    talk_ = Talk{static_cast<int>(*channel), device_.config().audio};
    device_.talk().Begin(talk_->channel);
    Json::Value data(Json::objectValue);
    data["encode"] = own;
    data["sampleRate"] = SampleRate(talk_->codec);
    return {ResultCode::kDone, data};
}

ActionResult MediaConnection::Seek(Clock::time_point now, const Json::Value& data) {
    const RecordedWindow& window = stream_->window();
    const auto time = TimeMs(data, "time");
    if (!time || *time < window.beginMs || *time >= window.endMs)
        return ResultCode::kBadValue;
    const auto start =
        StartOfWindow(*window.timeline, *time, window.beginMs, window.endMs, window.fileType);
    if (!start)
        return ResultCode::kBadValue;
    stream_->clock().Seek(now, *start);
    endSent_ = false;
    return ResultCode::kDone;
}

ActionResult MediaConnection::SetSpeed(Clock::time_point now, const Json::Value& data) {
    const auto speed = SpeedOf(data, 0);
    const bool paced = stream_->mode() == StreamMode::kPlayback;
    if (!speed || !paced)
        return ResultCode::kBadValue;
    stream_->clock().SetSpeed(now, *speed, Member(data, "onlyKeyFrames") == true);
    return ResultCode::kDone;
}

ActionResult MediaConnection::Control(Clock::time_point now, const ActionRequest& request) {
    const std::string& action = request.action;
    const bool recorded = stream_ && (stream_->mode() == StreamMode::kPlayback ||
                                      stream_->mode() == StreamMode::kDownload);
    if (!recorded)
        return ResultCode::kBadValue;
    if (action == "seek")
        return Seek(now, request.data);
    if (action == "speed")
        return SetSpeed(now, request.data);
    if (stream_->mode() != StreamMode::kPlayback)
        return ResultCode::kBadValue;
    if (action == "pause")
        stream_->clock().Pause(now);
    else
        stream_->clock().Run(now);
    return ResultCode::kDone;
}

ActionResult MediaConnection::Perform(Clock::time_point now, const ActionRequest& request) {
    const std::string& action = request.action;
    if (action == "stop") {
        Leave();
        return ResultCode::kDone;
    }
    if (const ResultCode code = device_.Admit(request.token, true); code != ResultCode::kDone)
        return code;
    if (action == "play")
        return Play(now, request);
    if (action == "playback" || action == "download")
        return PlayRecorded(now, request);
    if (action == "syncPlay")
        return PlaySync(now, request);
    if (action == "talk")
        return StartTalk(request);
    if (action == "pause" || action == "resume" || action == "seek" || action == "speed")
        return Control(now, request);
    if (!IsSyncControl(action))
        return ResultCode::kUnknownAction;
    ActionResult result = ControlSync(device_, now, request);
    if (action == "syncCreate" && result.code == ResultCode::kDone)
        created_.insert(Text(result.data, "token"));
    return result;
}

void MediaConnection::OnText(Clock::time_point now, std::string_view text, Batch& batch) {
    const ActionRequest request = ReadAction(text);
    device_.stats().Count("ws:" + request.action);
    if (request.action.empty()) {
        batch.messages.push_back(ActionAnswer("", ResultCode::kBadBody));
        return;
    }
    if (const auto size = device_.faults().Find(DeviceFault::kHugeText))
        batch.messages.push_back(HugeText(*size));
    const ActionResult result = Perform(now, request);
    batch.messages.push_back(ActionAnswer(request.action, result.code, result.data));
    if (EndsConnection(result.code))
        batch.end = Batch::End::kClose;
}

void MediaConnection::OnBinary(Clock::time_point, std::string_view bytes, Batch&) {
    if (!talk_)
        return;
    const auto header = ReadFrameHeader(bytes);
    const bool agreed = header && header->kind == FrameHeader::Kind::kAudio &&
                        header->codec == static_cast<uint8_t>(talk_->codec) &&
                        header->payloadLength == bytes.size() - FrameHeader::kSize;
    if (agreed)
        device_.talk().Add(talk_->channel, bytes.substr(FrameHeader::kSize));
    else
        device_.talk().Refuse(talk_->channel);
}

// Looking keeps a synchronous session alive, but not beyond the login that made it.
bool MediaConnection::KeepsSync(Clock::time_point now, const std::string& token) {
    const SyncTable::Shared session = device_.sync().Find(now, token);
    if (session && device_.sessions().Check(now, session->owner, false) == ResultCode::kDone)
        return true;
    device_.sync().Remove(token);
    return false;
}

// Streams end with what they hang on.
bool MediaConnection::CheckSessions(Clock::time_point now, Batch& batch) {
    std::erase_if(created_, [&](const std::string& token) { return !KeepsSync(now, token); });
    const char* reason = nullptr;
    ResultCode code = ResultCode::kDone;
    if (!token_.empty() && device_.sessions().Check(now, token_, false) != ResultCode::kDone) {
        reason = "session";
        code = ResultCode::kSessionExpired;
    } else if (!syncToken_.empty() && (!device_.sync().Find(now, syncToken_) ||
                                       !device_.sync().HasChannel(syncToken_, syncChannel_))) {
        reason = "sync";
    }
    if (reason == nullptr)
        return true;
    batch.messages.push_back(EndMessage(code, reason));
    batch.end = Batch::End::kClose;
    Leave();
    return false;
}

void MediaConnection::TakeFrames(Clock::time_point now, size_t queued, Batch& batch) {
    if (stream_->mode() == StreamMode::kLive && queued > kMaxQueued) {
        std::vector<OutMessage> lost;
        stream_->Take(now, kMaxQueued, lost);
        stream_->SkipToKey();
        return;
    }
    const size_t limit = stream_->mode() == StreamMode::kLive ? kMaxQueued : kBurst;
    const size_t before = batch.messages.size();
    if (queued < limit)
        stream_->Take(now, limit - queued, batch.messages);
    for (size_t i = before; i < batch.messages.size(); ++i)
        device_.stats().CountFrame();
    if (stream_->finished() && !std::exchange(endSent_, true))
        batch.messages.push_back(EndMessage(ResultCode::kDone, "finished"));
}

void MediaConnection::OnTick(Clock::time_point now, size_t queued, Batch& batch) {
    if (!CheckSessions(now, batch) || !stream_)
        return;
    if (!stream_->finished())
        endSent_ = false;
    TakeFrames(now, queued, batch);
    fault_.Apply(batch);
}

Clock::time_point MediaConnection::NextTick(Clock::time_point now) const {
    const auto due = stream_ ? stream_->NextDue(now) : Clock::time_point::max();
    return std::clamp(due, now + kShortest, now + kLongest);
}

}  // namespace vms::sim::httpdevice
