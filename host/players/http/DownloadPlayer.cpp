#include "host/players/http/DownloadPlayer.h"

#include <algorithm>
#include <utility>

#include "host/players/http/MediaAnswers.h"
#include "host/stream/ReceiverTable.h"
#include "host/text/IsoTime.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

constexpr size_t kLongestName = 64;

/// The part that is wanted; none if the client has begun to read another file.
std::optional<ByteRange> RangeOf(const HttpRequest& request, const Download& download) {
    const std::string_view condition = request.Header("If-Range");
    if (!condition.empty() && condition != download.Tag())
        return std::nullopt;
    return ReadByteRange(request.Header("Range"));
}

/// "20260305T080000Z"
std::string Compact(int64_t time) {
    std::string text = IsoTime(time);
    std::erase_if(text, [](char letter) { return letter == '-' || letter == ':'; });
    return text;
}

/// A name that any file system takes.
std::string FileName(const PlaybackRequest& request) {
    std::string name = request.device.substr(0, kLongestName);
    for (char& letter : name) {
        const bool isPlain = (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') ||
                             (letter >= 'a' && letter <= 'z') || letter == '_';
        letter = isPlain ? letter : '-';
    }
    return name + "_" + std::to_string(request.channel) + "_" + Compact(request.from) + "_" +
           Compact(request.to) + ".mp4";
}

}  // namespace

/// The answer's body: a part of the file, or the file up to wherever it ends. Its end is the
/// player's.
class DownloadPlayer::Body final : public HttpBody {
public:
    static constexpr uint64_t kOpen = UINT64_MAX;  ///< as an end: wherever the file's is

    Body(std::shared_ptr<DownloadPlayer> player, ByteSpan span)
        : player_(std::move(player)), span_(span), next_(span.begin) {}
    ~Body() override { player_->Leave(); }

    std::optional<uint64_t> Length() const override {
        return span_.end == kOpen ? std::nullopt : std::optional(span_.end - span_.begin);
    }

    void Pull(Sink sink) override {
        const uint64_t offset = next_;
        player_->Pull(offset, span_.end,
                      [next = &next_, sink = std::move(sink)](std::optional<std::string> piece) {
                          *next += piece ? piece->size() : 0;
                          sink(std::move(piece));
                      });
    }

private:
    const std::shared_ptr<DownloadPlayer> player_;
    const ByteSpan span_;
    uint64_t next_;
};

DownloadPlayer::DownloadPlayer(PlayerContext& context, Lanes& lanes, const HttpRequest& request,
                               std::shared_ptr<HttpReply> reply, std::shared_ptr<Download> download,
                               std::function<void()> left)
    : context_(context),
      lane_(std::make_shared<Lane>(lanes)),
      reply_(std::move(reply)),
      download_(std::move(download)),
      left_(std::move(left)),
      range_(RangeOf(request, *download_)),
      card_{
          context.receivers.NextNumber(),
          {request.peerAddress, request.peerPort},
          {download_->Request().device, download_->Request().channel, download_->Request().stream},
          "download"},
      begun_(Clock::now()) {}

DownloadPlayer::~DownloadPlayer() {
    left_();
}

void DownloadPlayer::Start() {
    if (!context_.players.Add(shared_from_this())) {
        reply_->Send(ProblemAnswer({503, "the host is ending"}));
        Leave();
        return;
    }
    ++context_.totals.players;
    reply_->OnGone([self = shared_from_this()] { self->Leave(); });
    Look();
}

/// Answers if that is possible, else looks again when the file has grown.
void DownloadPlayer::Look(bool isImpatient) {
    for (bool isAgain : {false, true}) {
        const Download::Progress progress = download_->Now();
        if (CanAnswer(progress, isImpatient)) {
            Answer(progress);
            return;
        }
        if (isAgain || isImpatient)
            return;
        download_->OnProgress([weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->lane_->Post([self] { self->Look(); });
        });
    }
}

bool DownloadPlayer::CanAnswer(const Download::Progress& progress, bool isImpatient) const {
    return progress.isOver || isImpatient || (progress.size > 0 && !range_);
}

void DownloadPlayer::Answer(const Download::Progress& progress) {
    {
        MutexLock lock(mutex_);
        if (std::exchange(state_, State::kAnswered) != State::kWaiting)
            return;
    }
    const bool isWhole = progress.isOver && progress.problem.status == 0;
    const bool isSuffixOfUnknown = range_ && range_->isSuffix && !isWhole;
    if (progress.size == 0) {
        const SourceProblem silent{504, "the device has sent no picture"};
        reply_->Send(ProblemAnswer(progress.isOver ? progress.problem : silent));
    } else if (!range_ || isSuffixOfUnknown) {
        const uint64_t end = isWhole ? progress.size : Body::kOpen;
        reply_->SendBody(Head(), std::make_unique<Body>(shared_from_this(), ByteSpan{0, end}));
        return;
    } else if (const auto span = SpanOf(*range_, progress.size)) {
        HttpResponse head = Head();
        head.status = 206;
        head.headers["Content-Range"] = "bytes " + std::to_string(span->begin) + "-" +
                                        std::to_string(span->end - 1) + "/" +
                                        (isWhole ? std::to_string(progress.size) : "*");
        reply_->SendBody(std::move(head), std::make_unique<Body>(shared_from_this(), *span));
        return;
    } else if (isWhole) {
        HttpResponse answer = HttpFailure(416, "the file is shorter");
        answer.headers["Content-Range"] = "bytes */" + std::to_string(progress.size);
        reply_->Send(std::move(answer));
    } else {
        reply_->Send(ProblemAnswer({503, "that part is not there yet"}));
    }
    Leave();
}

HttpResponse DownloadPlayer::Head() const {
    HttpResponse head = MediaHead(LiveContainer::kFile);
    head.headers["Accept-Ranges"] = "bytes";
    head.headers["ETag"] = download_->Tag();
    head.headers["Content-Disposition"] =
        "attachment; filename=\"" + FileName(download_->Request()) + "\"";
    return head;
}

void DownloadPlayer::Pull(uint64_t offset, uint64_t end, HttpBody::Sink sink) {
    lane_->Post([self = shared_from_this(), offset, end, sink = std::move(sink)] {
        self->Read(offset, end, sink);
    });
}

/// On the lane.
void DownloadPlayer::Read(uint64_t offset, uint64_t end, const HttpBody::Sink& sink) try {
    {
        MutexLock lock(mutex_);
        if (state_ == State::kOver)
            return;
    }
    const Download::Progress progress = download_->Now();
    const size_t most = std::min<uint64_t>(HttpBody::kMostBytes, end - offset);
    std::string piece = download_->Read(offset, most);
    if (!piece.empty()) {
        {
            MutexLock lock(mutex_);
            counts_.sentBytes += piece.size();
            ++counts_.sentUnits;
        }
        sink(std::move(piece));
    } else if (!progress.isOver) {
        const auto again = std::make_shared<std::atomic<bool>>(true);
        const auto go = [weak = weak_from_this(), offset, end, sink, again] {
            const auto self = weak.lock();
            if (self != nullptr && again->exchange(false))
                self->Pull(offset, end, sink);
        };
        download_->OnProgress(go);
        const Download::Progress now = download_->Now();
        if (now.isOver || now.size > offset)
            go();
    } else if (progress.problem.status == 0) {
        sink("");
    } else {
        BreakOff(progress.problem.text.c_str(), sink);
    }
} catch (const std::exception& error) {
    BreakOff(error.what(), sink);
}

/// The answer has begun: all that can be told is that it is not whole. Why is for the log.
void DownloadPlayer::BreakOff(const char* why, const HttpBody::Sink& sink) {
    context_.log.Log(2, "Download", "a download of %s is broken off: %s",
                     card_.address.device.c_str(), why);
    sink(std::nullopt);
}

bool DownloadPlayer::Sweep(Clock::time_point now) {
    {
        MutexLock lock(mutex_);
        if (state_ != State::kWaiting)
            return true;
    }
    if (now - begun_ < (range_ ? kRangePatience : kPatience))
        return false;
    Look(true);
    return true;
}

void DownloadPlayer::Leave() {
    {
        MutexLock lock(mutex_);
        if (std::exchange(state_, State::kOver) == State::kOver)
            return;
    }
    context_.players.Remove(card_.number);
}

PlayerInfo DownloadPlayer::Describe() const {
    return card_.Describe(Counts());
}

SendCounts DownloadPlayer::Counts() const {
    MutexLock lock(mutex_);
    return counts_;
}

/// The server closes its connections by itself when it ends.
void DownloadPlayer::Close(const std::string& /*reason*/) {}

}  // namespace vms::host
