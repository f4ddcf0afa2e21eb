#include "host/players/rtsp/RtspClient.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <ctime>
#include <exception>
#include <utility>

#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;

/// So long what waits for a player that has to go is still sent.
constexpr std::chrono::seconds kLinger(2);

}  // namespace

RtspClient::RtspClient(std::shared_ptr<RtspShared> shared, std::shared_ptr<HttpPlaces> places,
                       std::unique_ptr<Wire> wire, IoThread& io)
    : shared_(std::move(shared)),
      places_(std::move(places)),
      io_(io),
      wire_(std::move(wire)),
      timer_(io.Context()),
      heard_(Clock::now()),
      progressAt_(heard_) {}

/// A function of this object as others call it: while it lives and is not over. What it throws ends
/// the connection.
template <class Function>
std::function<void()> RtspClient::Event(Function function) {
    return [weak = weak_from_this(), function] {
        const auto self = weak.lock();
        if (self == nullptr || self->isOver_)
            return;
        try {
            ((*self).*function)();
        } catch (const std::exception& error) {
            self->shared_->context.log.Log(3, "Rtsp", "a player is dropped: %s", error.what());
            self->Close();
        }
    };
}

void RtspClient::Start() {
    auto entry = HttpPlaces::Entry::kTurnedAway;
    auto place = places_->Enter([&context = io_.Context(),
                                 close = Event(&RtspClient::Close)] { asio::post(context, close); },
                                entry);
    if (place == nullptr) {
        isOver_ = true;
        wire_->Close();
        return;
    }
    peer_ = wire_->RemoteEnd();
    TakePlace(std::move(place));
    if (entry == HttpPlaces::Entry::kServed)
        places_->SetIdle(*place_);
    TickLater();
    if (entry != HttpPlaces::Entry::kServed) {
        Refuse(503);
        return;
    }
    session_ = std::make_shared<RtspSession>(*shared_, connection_, peer_);
    Read();
}

/// The place is taken as long as anybody shares the connection.
void RtspClient::TakePlace(std::shared_ptr<HttpPlaces::Place> place) {
    place_ = place;
    connection_ =
        std::shared_ptr<Connection>(new Connection(std::move(wire_), io_, shared_->settings.send),
                                    [kept = std::move(place)](Connection* connection) mutable {
                                        delete connection;
                                        kept = nullptr;
                                    });
    connection_->SetEvents(Event(&RtspClient::OnTooSlow), Event(&RtspClient::OnAllSent),
                           [finish = Event(&RtspClient::Finish)](const std::string&) { finish(); });
}

void RtspClient::Close() {
    if (isOver_)
        return;
    isOver_ = true;
    timer_.cancel();
    if (session_ != nullptr)
        session_->End();
    connection_->Close();
    places_->Leave(*place_);
}

// Reading

void RtspClient::Read() {
    if (isReading_ || isOver_ || input_.size() > RtspRequestReader::kMostInput)
        return;
    isReading_ = true;
    connection_->GetWire().ReadSome(asio::buffer(room_),
                                    [self = shared_from_this()](error_code error, size_t count) {
                                        self->isReading_ = false;
                                        self->OnRead(error, count);
                                    });
}

void RtspClient::OnRead(error_code error, size_t count) {
    if (isOver_)
        return;
    if (error) {
        Close();
        return;
    }
    try {
        if (!isEnding_) {
            input_.append(room_.data(), count);
            Process();
        }
        Read();
    } catch (const std::exception& failure) {
        shared_->context.log.Log(3, "Rtsp", "a player is dropped: %s", failure.what());
        Close();
    }
}

void RtspClient::Process() {
    while (!isBusy_ && !isEnding_ && !isOver_) {
        switch (reader_.Read(input_)) {
            case RtspRequestReader::Progress::kMore:
                if (!std::exchange(isHalf_, !input_.empty()))
                    halfSince_ = Clock::now();
                return;
            case RtspRequestReader::Progress::kPacket:
                isHalf_ = false;
                heard_ = Clock::now();
                break;
            case RtspRequestReader::Progress::kRequest:
                isHalf_ = false;
                heard_ = Clock::now();
                OnRequest();
                break;
            case RtspRequestReader::Progress::kFailed:
                Refuse(reader_.Failure());
                return;
        }
    }
}

// Requests

void RtspClient::OnRequest() {
    isBusy_ = true;
    request_ = std::move(reader_.Request());
    ++shared_->context.totals.requests;
    if (request_.Header("CSeq").empty()) {
        Answer({400});
        return;
    }
    if (request_.method == "OPTIONS" || IsLetIn()) {
        Carry();
        return;
    }
    const std::string authorization(request_.Header("Authorization"));
    shared_->access.Check(
        {request_.method, authorization.empty() ? RtspStreamUri(request_.uri) : request_.uri,
         authorization, peer_},
        [weak = weak_from_this(), &context = io_.Context()](const RtspVerdict& verdict) {
            asio::post(context, [weak, verdict] {
                const auto self = weak.lock();
                if (self != nullptr && !self->isOver_)
                    self->OnVerdict(verdict);
            });
        });
}

/// Whether the request is about the stream that the player has been let in to.
bool RtspClient::IsLetIn() {
    RtspTarget target;
    std::string ignored;
    wanted_.reset();
    if (ReadRtspTarget(request_.uri, std::time(nullptr), target, ignored) == 200)
        wanted_ = target;
    const bool names = request_.method == "DESCRIBE" || request_.method == "SETUP";
    return letIn_ && (!names || (wanted_ && wanted_->SameStream(*letIn_)));
}

void RtspClient::OnVerdict(const RtspVerdict& verdict) {
    try {
        if (verdict.status == 200) {
            letIn_ = wanted_;
            letInUntil_ = verdict.until;
            Carry();
            return;
        }
        RtspAnswer answer{verdict.status};
        if (verdict.retryAfter > 0)
            answer.headers.emplace_back("Retry-After", std::to_string(verdict.retryAfter));
        for (const std::string& challenge : verdict.challenges)
            answer.headers.emplace_back("WWW-Authenticate", challenge);
        Answer(std::move(answer));
    } catch (const std::exception& error) {
        shared_->context.log.Log(3, "Rtsp", "a player is dropped: %s", error.what());
        Close();
    }
}

void RtspClient::Carry() {
    session_->Handle(request_, [weak = weak_from_this()](std::optional<RtspAnswer> answer) {
        const auto self = weak.lock();
        if (self == nullptr || self->isOver_)
            return;
        if (answer)
            self->Answer(std::move(*answer));
        else
            self->Through();
    });
}

void RtspClient::Answer(RtspAnswer answer) {
    if (!connection_->SendRaw(RtspAnswerText(answer, request_.Header("CSeq"))))
        OnTooSlow();
    else
        Through();
}

/// The next one, but not inside what has led here.
void RtspClient::Through() {
    if (isOver_)
        return;
    if (session_->IsOpen())
        places_->SetBusy(*place_);
    else
        places_->SetIdle(*place_);
    asio::post(io_.Context(), Event(&RtspClient::Next));
}

void RtspClient::Next() {
    isBusy_ = false;
    heard_ = Clock::now();
    Process();
    Read();
}

/// Answers what cannot be served, and ends the connection.
void RtspClient::Refuse(int status) {
    connection_->SendRaw(RtspAnswerText({status, {{"Connection", "close"}}}, ""));
    Finish();
}

// The end

void RtspClient::OnTooSlow() {
    if (session_ != nullptr && session_->IsOpen())
        ++shared_->context.totals.slowPlayers;
    Close();
}

/// Lets what waits go out, then ends it.
void RtspClient::Finish() {
    if (std::exchange(isEnding_, true))
        return;
    endingSince_ = Clock::now();
    if (session_ != nullptr)
        session_->End();
    places_->SetIdle(*place_);
    OnAllSent();
}

void RtspClient::OnAllSent() {
    if (!isEnding_ || connection_->Counts().queuedBytes > 0)
        return;
    connection_->GetWire().EndSending();
    Read();
}

// Time

void RtspClient::TickLater() {
    timer_.expires_after(shared_->settings.tick);
    timer_.async_wait([tick = Event(&RtspClient::Tick)](error_code error) {
        if (!error)
            tick();
    });
}

void RtspClient::Tick() {
    const auto now = Clock::now();
    if (isEnding_ && now - endingSince_ >= kLinger) {
        Close();
        return;
    }
    if (!isEnding_) {
        if (isHalf_ && !isBusy_ && now - halfSince_ >= shared_->settings.request) {
            Refuse(408);
        } else if (letInUntil_ != 0 && std::time(nullptr) >= letInUntil_) {
            Finish();
        } else if (TakesNothing(now) || IsSilent(now)) {
            Close();
            return;
        } else {
            session_->Tick();
        }
    }
    TickLater();
}

/// A player over TCP that takes what it is sent is there, whether it says so or not.
bool RtspClient::IsSilent(Clock::time_point now) {
    if (!session_->IsOpen())
        return now - heard_ >= (isBusy_ ? shared_->settings.session : shared_->settings.idle);
    const auto overUdp = session_->HeardOverUdp();
    return now - std::max(heard_, overUdp.value_or(progressAt_)) >= shared_->settings.session;
}

/// Also notes when the player has last taken something.
bool RtspClient::TakesNothing(Clock::time_point now) {
    const SendCounts counts = connection_->Counts();
    if (counts.sentBytes != std::exchange(sentBytes_, counts.sentBytes))
        progressAt_ = now;
    return counts.queuedBytes > 0 && now - progressAt_ >= shared_->settings.unread;
}

}  // namespace vms::host
