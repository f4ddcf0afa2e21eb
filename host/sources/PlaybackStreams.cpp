#include "host/sources/PlaybackStreams.h"

#include <json/value.h>

#include <atomic>
#include <utility>

#include "host/stream/Receiver.h"
#include "host/text/JsonText.h"

namespace vms::host {
namespace {

constexpr int kNormalClosure = 1000;

std::string RangeBody(const PlaybackRequest& request) {
    Json::Value body(Json::objectValue);
    body["channel"] = request.channel;
    body["streamNo"] = request.stream;
    body["beginTime"] = request.from;
    body["endTime"] = request.to;
    return CompactJson(body);
}

/// Messages with which a source says that all has been sent.
bool IsEnd(const std::string& message) {
    return message == "playback end" || message == "download end";
}

}  // namespace

/// The numbered player that the module sees.
class Playback::Channel final : public Receiver {
public:
    Channel(PlaybackStreams& streams, std::string key, std::shared_ptr<PlaybackSink> sink)
        : streams_(streams),
          key_(std::move(key)),
          sink_(std::move(sink)),
          lane_(std::make_shared<Lane>(streams.lanes_)),
          number_(streams.receivers_.NextNumber()) {}

    /// On the lane. @return false: the module has no such recording
    static bool Start(const std::shared_ptr<Channel>& self, const PlaybackRequest& request) {
        PlaybackStreams& streams = self->streams_;
        streams.receivers_.Add(self);
        streams.modules_.OnConnect(self->number_, "", 0);
        const int command =
            request.isDownload ? TV_STREAM_DOWNLOAD_START : TV_STREAM_PLAYBACK_START;
        return self->Request(command, RangeBody(request)) == 0;
    }

    /// On the lane.
    void Stop() {
        Request(TV_STREAM_PLAYBACK_STOP, "");
        streams_.modules_.OnClose(number_, kNormalClosure, "nobody watches");
        streams_.receivers_.Remove(number_);
        streams_.Left();
    }

    int Request(int command, const std::string& body) {
        return streams_.modules_.OnRequest(number_, PlayerRequest{command, key_, body});
    }

    Lane& OwnLane() { return *lane_; }
    void Mute() { isOver_ = true; }

    // As the modules see it:
    long long Number() const override { return number_; }

    bool SendUnit(std::string_view bytes, bool /*isPlayback*/) override {
        const MediaUnit unit = MediaUnit::Copy(bytes);
        MutexLock lock(mutex_);
        return !isOver_ && sink_->Take(unit);
    }

    bool SendCommand(const __tagTvCommand& command) override {
        MutexLock lock(mutex_);
        if (isOver_)
            return false;
        if (IsEnd(command.body))
            sink_->End(true, command.body);
        else
            sink_->Tell(command.body);
        return true;
    }

    int QueuedUnits() const override { return sink_->QueuedUnits(); }

    void Close(const std::string& reason) override {
        MutexLock lock(mutex_);
        if (!isOver_)
            sink_->End(false, reason);
    }

private:
    PlaybackStreams& streams_;
    const std::string key_;
    const std::shared_ptr<PlaybackSink> sink_;
    const std::shared_ptr<Lane> lane_;
    const long long number_;
    std::atomic<bool> isOver_{false};  ///< nobody wants anything any more
    Mutex mutex_;  ///< held while the sink is called, so that it is one at a time
};

Playback::~Playback() {
    channel_->Mute();
    channel_->OwnLane().Post([channel = channel_] { channel->Stop(); });
}

long long Playback::Number() const {
    return channel_->Number();
}

void Playback::Control(int command, const std::string& body) {
    channel_->OwnLane().Post(
        [channel = channel_, command, body] { channel->Request(command, body); });
}

void PlaybackStreams::Open(const PlaybackRequest& request, std::shared_ptr<PlaybackSink> sink,
                           PlaybackDone done) {
    SourceProblem problem;
    {
        MutexLock lock(mutex_);
        if (closed_) {
            problem = {503, "the host is ending"};
        } else if (open_ >= kMost) {
            problem = {503, "too many recordings are being played"};
        } else {
            ++open_;
            ++asking_;
        }
    }
    if (problem.status != 0) {
        done(nullptr, problem);
        return;
    }
    const auto command =
        request.isDownload ? TV_CMD_GET_RECORD_DOWNLOAD_URL : TV_CMD_GET_PLAYBACK_URL;
    devices_.AskForKey(request.device, command, RangeBody(request),
                       [this, request, sink = std::move(sink), done = std::move(done)](
                           const std::string& key, const SourceProblem& wrong) {
                           if (key.empty()) {
                               done(nullptr, wrong);
                               Left();
                           } else {
                               OnKey(request, key, sink, done);
                           }
                           Answered();
                       });
}

void PlaybackStreams::OnKey(const PlaybackRequest& request, const std::string& key,
                            const std::shared_ptr<PlaybackSink>& sink, const PlaybackDone& done) {
    const auto channel = std::make_shared<Playback::Channel>(*this, key, sink);
    channel->OwnLane().Post([channel, request, done] {
        const bool isPlaying = Playback::Channel::Start(channel, request);
        const auto playback =
            std::shared_ptr<Playback>(new Playback(channel));  // ends it if unused
        if (isPlaying)
            done(playback, {});
        else
            done(nullptr, {404, "the device has no such recording"});
    });
}

void PlaybackStreams::Answered() {
    MutexLock lock(mutex_);
    --asking_;
    answered_.NotifyAll();
}

void PlaybackStreams::Left() {
    MutexLock lock(mutex_);
    --open_;
}

void PlaybackStreams::Close() {
    MutexLock lock(mutex_);
    closed_ = true;
    while (asking_ > 0)
        answered_.Wait(mutex_);
}

}  // namespace vms::host
