#include "host/play/PlaySession.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "host/text/HostError.h"
#include "host/text/Output.h"
#include "module/CommandRecord.h"

namespace vms::host {
namespace {

constexpr size_t kTalkPiece = 160;  ///< bytes, 20 ms
constexpr std::chrono::milliseconds kTalkPeriod(20);

/// Messages with which a source says that all has been sent.
bool IsEnd(const std::string& message) {
    return message == "playback end" || message == "download end";
}

int CommandOf(PlayCommand::Kind kind) {
    switch (kind) {
        case PlayCommand::Kind::kPause:
            return TV_STREAM_PLAYBACK_PAUSE;
        case PlayCommand::Kind::kResume:
            return TV_STREAM_PLAYBACK_RESUME;
        case PlayCommand::Kind::kSpeed:
            return TV_STREAM_PLAYBACK_SPEED;
        case PlayCommand::Kind::kSeek:
            return TV_STREAM_PLAYBACK_SEEK;
        case PlayCommand::Kind::kTalk:
            return TV_STREAM_TALK_START;
        default:
            return TV_STREAM_TALK_STOP;
    }
}

}  // namespace

PlaySession::PlaySession(const PlayRequest& request, UnitSink* sink)
    : request_(request),
      sink_(sink),
      link_(ParseStreamUrl(request.url), request.trust),
      end_(request.length.count() > 0 ? Clock::now() + request.length : Clock::time_point::max()),
      readsInput_(request.readsInput) {
    if (!request_.talk.empty())
        ReadTalkFile(request_.talk);  // complains before anything is opened
}

void PlaySession::Run(int stopDescriptor) {
    while (!done_ && Clock::now() < end_) {
        std::array<pollfd, 3> ready{{{link_.Descriptor(), POLLIN, 0},
                                     {stopDescriptor, POLLIN, 0},
                                     {readsInput_ ? STDIN_FILENO : -1, POLLIN, 0}}};
        if (poll(ready.data(), ready.size(), WaitMs()) < 0 && errno != EINTR)
            throw HostError(std::string("cannot wait for media: ") + std::strerror(errno));
        if (ready[1].revents != 0)
            return;
        TakeEvents();
        if (ready[2].revents != 0)
            TakeInput();
        SendDueTalk();
    }
}

int PlaySession::WaitMs() const {
    Clock::time_point next = end_;
    if (talk_)
        next = std::min(next, nextTalk_);
    if (next == Clock::time_point::max())
        return -1;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<int>(std::clamp<int64_t>(wait.count(), 0, 60'000));
}

void PlaySession::TakeEvents() {
    while (!done_) {
        const auto event = link_.Take();
        if (!event)
            return;
        TakeEvent(*event);
    }
}

void PlaySession::TakeEvent(const LinkEvent& event) {
    switch (event.kind) {
        case LinkEvent::Kind::kOpen:
            if (request_.startCommand != 0)
                link_.Request(request_.startCommand, request_.key, request_.startBody);
            return;
        case LinkEvent::Kind::kUnit:
            TakeUnit(event.bytes);
            return;
        case LinkEvent::Kind::kAnswer:
            // All that was said before has then been through the host's hands.
            if (event.command == TV_STREAM_TALK_STOP && !request_.talk.empty())
                done_ = true;
            if (event.result == 0)
                return;
            if (event.command == TV_STREAM_TALK_START && !request_.talk.empty())
                throw HostError("the device does not let us talk");
            if (event.command != request_.startCommand)
                PrintError("play: the server refused");
            else if (!request_.refusalIsFine)
                throw HostError("the server knows no such stream; ask the module for it again");
            return;
        case LinkEvent::Kind::kMessage:
            statistics_.AddMessage(event.bytes);
            done_ = IsEnd(event.bytes);
            return;
        case LinkEvent::Kind::kClosed:
            throw HostError("the connection has ended: " + event.bytes);
    }
}

void PlaySession::TakeUnit(const std::string& unit) {
    MediaUnitHeader header;
    if (!ReadMediaHeader(unit, header))
        return;
    const std::string_view payload = std::string_view(unit).substr(kMediaHeaderSize);
    statistics_.Count(header, payload.size());
    if (!request_.trace.empty())
        Trace(header, payload.size());
    if (sink_ != nullptr)
        sink_->Take(header, payload);
    if (!request_.talk.empty() && !std::exchange(hasTalked_, true))
        Carry({PlayCommand::Kind::kTalk, request_.talk});
    if (request_.units > 0 && statistics_.Units() >= static_cast<uint64_t>(request_.units))
        done_ = true;
}

void PlaySession::Trace(const MediaUnitHeader& header, size_t bytes) {
    if (trace_ == nullptr)
        trace_.reset(std::fopen(request_.trace.c_str(), "we"));
    if (trace_ == nullptr)
        throw HostError("cannot write " + request_.trace + ": " + std::strerror(errno));
    const double now =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    std::fprintf(trace_.get(), "%.6f %s %s %u %u %zu\n", now, CodecName(header.Codec()),
                 header.IsKeyPicture() ? "key" : "-", header.serial, header.timestampMs, bytes);
}

void PlaySession::TakeInput() {
    std::array<char, 4096> piece{};
    const ssize_t got = read(STDIN_FILENO, piece.data(), piece.size());
    if (got <= 0) {
        readsInput_ = got < 0 && (errno == EINTR || errno == EAGAIN);
        return;
    }
    typed_.append(piece.data(), static_cast<size_t>(got));
    for (size_t end = typed_.find('\n'); end != std::string::npos; end = typed_.find('\n')) {
        const std::string line = typed_.substr(0, end);
        typed_.erase(0, end + 1);
        if (const auto command = ParsePlayCommand(line))
            Carry(*command);
        else
            PrintError("play: pause, resume, speed N, seek SECONDS, talk FILE, hush or quit");
    }
    if (typed_.size() > piece.size())
        typed_.clear();
}

void PlaySession::Carry(const PlayCommand& command) {
    if (command.kind == PlayCommand::Kind::kQuit) {
        done_ = true;
        return;
    }
    std::string body = command.argument;
    if (command.kind == PlayCommand::Kind::kTalk) {
        if (!BeginTalk(command.argument))
            return;
        body = std::to_string(talk_->parameter);
    } else if (command.kind == PlayCommand::Kind::kHush) {
        talk_.reset();
    }
    link_.Request(CommandOf(command.kind), request_.key, body);
}

/// @return false for a file that cannot be said; a talk that is under way goes on
bool PlaySession::BeginTalk(const std::string& path) {
    try {
        talk_ = ReadTalkFile(path);
    } catch (const HostError& error) {
        PrintError(std::string("play: ") + error.what());
        return false;
    }
    talked_ = 0;
    nextTalk_ = Clock::now();
    return true;
}

void PlaySession::SendDueTalk() {
    while (talk_ && Clock::now() >= nextTalk_) {
        if (talked_ >= talk_->sound.size()) {
            talk_.reset();
            link_.Request(TV_STREAM_TALK_STOP, request_.key, "");
            return;
        }
        link_.SendUnit(TalkUnit(talk_->sound.substr(talked_, kTalkPiece)));
        talked_ += kTalkPiece;
        nextTalk_ += kTalkPeriod;
    }
}

}  // namespace vms::host
