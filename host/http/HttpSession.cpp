#include "host/http/HttpSession.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <utility>

#include "host/http/SecureOnly.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr size_t kRoom = size_t{4} << 10;       ///< read at once
constexpr size_t kBodyRoom = size_t{16} << 10;  ///< the same, of a body
constexpr char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";

HttpResponse RefusalText(HttpAdmission admission) {
    if (admission.text.empty())
        admission.text =
            admission.refusal == 401 ? "a login or token is needed" : "other sites have no access";
    HttpResponse response = HttpFailure(admission.refusal, admission.text);
    response.headers.merge(admission.headers);
    return response;
}

/// Has a handler answer; whatever it does, the answer is not left open by an exception.
void RunHandler(const HttpHandler& handler, const HttpRequest& request, HttpAnswer& answer,
                ILogHandler& log) noexcept {
    try {
        handler(request, answer.Handle());
    } catch (const std::exception& error) {
        log.Log(3, "Http", "%s: %s", request.path.c_str(), error.what());
        answer.Abandon();
    } catch (...) {
        log.Log(3, "Http", "%s: unknown exception", request.path.c_str());
        answer.Abandon();
    }
}

}  // namespace

HttpSession::HttpSession(std::shared_ptr<HttpContext> context, std::unique_ptr<Wire> wire,
                         IoThread& io)
    : context_(std::move(context)), io_(io), wire_(std::move(wire)), timer_(io.Context()) {}

/// A function of this session as others call it: on the I/O thread, but not inside what goes on
/// there, and only while the session lives. What it throws ends the session.
template <class Function>
std::function<void()> HttpSession::Event(Function function) {
    return [weak = weak_from_this(), function] {
        const auto self = weak.lock();
        if (self == nullptr || self->state_ == State::kOver)
            return;
        try {
            ((*self).*function)();
        } catch (const std::exception& error) {
            self->context_->log.Log(3, "Http", "a client is dropped: %s", error.what());
            self->Close();
        }
    };
}

void HttpSession::Start() {
    auto entry = HttpPlaces::Entry::kTurnedAway;
    auto place = context_->places->Enter(
        [&context = io_.Context(), close = Event(&HttpSession::Close)] {
            asio::post(context, close);
        },
        entry);
    if (place == nullptr) {
        state_ = State::kOver;
        wire_->Close();
        return;
    }
    TakePlace(std::move(place));
    if (entry == HttpPlaces::Entry::kServed) {
        AwaitRequest();
        return;
    }
    NewAnswer();
    Refuse(HttpFailure(503, "too many clients are connected"));
}

/// The place is taken as long as anybody shares the connection.
void HttpSession::TakePlace(std::shared_ptr<HttpPlaces::Place> place) {
    place_ = place;
    connection_ =
        std::shared_ptr<Connection>(new Connection(std::move(wire_), io_, context_->settings.send),
                                    [kept = std::move(place)](Connection* connection) mutable {
                                        delete connection;
                                        kept = nullptr;
                                    });
    SetEvents();
}

void HttpSession::SetEvents() {
    connection_->SetEvents(Event(&HttpSession::Close), Event(&HttpSession::OnAnswer),
                           [weak = weak_from_this()](const std::string&) {
                               const auto self = weak.lock();
                               if (self != nullptr && self->answer_ != nullptr)
                                   self->answer_->End();
                           });
}

void HttpSession::Close() {
    if (state_ == State::kOver)
        return;
    state_ = State::kOver;
    timer_.cancel();
    reader_.reset();
    if (const auto answer = std::exchange(answer_, nullptr))
        answer->Detach();
    connection_->Close();
    context_->places->Leave(*place_);
}

void HttpSession::Read() {
    if (reading_)
        return;
    reading_ = true;
    const size_t room = state_ == State::kBody ? kBodyRoom : kRoom;
    if (room_.size() != room)
        std::vector<char>(room).swap(room_);
    connection_->GetWire().ReadSome(asio::buffer(room_),
                                    [self = shared_from_this()](error_code error, size_t count) {
                                        self->reading_ = false;
                                        self->OnRead(error, count);
                                    });
}

void HttpSession::OnRead(error_code error, size_t count) {
    if (state_ == State::kOver)
        return;
    if (error) {
        OnInputEnd(error == asio::error::eof);
        return;
    }
    try {
        if (state_ != State::kLinger)
            input_.append(room_.data(), count);
        OnInput();
    } catch (const std::exception& failure) {
        context_->log.Log(3, "Http", "a client is dropped: %s", failure.what());
        Close();
    }
}

void HttpSession::OnInput() {
    switch (state_) {
        case State::kHead:
            if (!std::exchange(begun_, true))
                SetTimer(context_->settings.request);
            ReadHead();
            break;
        case State::kBody:
            ReadBody();
            break;
        case State::kAnswer:
            if (answer_->CurrentStage() == HttpAnswer::Stage::kLive)
                input_.clear();
            // What has come of the next request waits, and nothing more is read: so nothing is
            // being read when that turns out to hand the connection over.
            if (input_.empty())
                Read();
            break;
        case State::kLinger:
            Read();
            break;
        case State::kGate:
        case State::kOver:
            break;
    }
}

/// A client that has only ended its side may still want its answer; most that do so are gone.
void HttpSession::OnInputEnd(bool isOrderly) {
    if (!isOrderly || state_ != State::kAnswer ||
        answer_->CurrentStage() == HttpAnswer::Stage::kLive) {
        Close();
        return;
    }
    inputEnded_ = true;
    endedAt_ = Clock::now();
    answer_->KeepNotAlive();
    WatchAnswer();
}

void HttpSession::NewAnswer() {
    answer_ = std::make_shared<HttpAnswer>(
        connection_, [&context = io_.Context(), look = Event(&HttpSession::OnAnswer)] {
            asio::post(context, look);
        });
}

void HttpSession::AwaitRequest() {
    state_ = State::kHead;
    context_->places->SetIdle(*place_);
    if (input_.empty())
        std::string().swap(input_);  // whoever idles keeps no room
    reader_ = std::make_unique<HttpRequestReader>(
        HttpLimits{context_->settings.longestHead, context_->settings.longestBody});
    NewAnswer();
    begun_ = !input_.empty();
    SetTimer(begun_ ? context_->settings.request : context_->settings.idle);
    ReadHead();
}

void HttpSession::ReadHead() {
    switch (reader_->ReadHead(input_)) {
        case HttpRequestReader::Progress::kMore:
            Read();
            break;
        case HttpRequestReader::Progress::kFailed:
            Refuse(reader_->Failure());
            break;
        case HttpRequestReader::Progress::kDone: {
            const HttpRequest& request = reader_->Request();
            answer_->SetRequest(request.version, request.isHead, reader_->KeepsAlive());
            AskGate();
            break;
        }
    }
}

void HttpSession::AskGate() {
    state_ = State::kGate;
    HttpRequest& request = reader_->Request();
    Peer peer = connection_->GetWire().RemoteEnd();
    request.peerAddress = std::move(peer.address);
    request.peerPort = peer.port;
    request.isSecure = connection_->GetWire().IsSecure();
    if (context_->settings.isSecureOnly && !request.isSecure) {
        Refuse(SendToTls(request));
        return;
    }
    context_->gate(request, [weak = weak_from_this(),
                             answer = std::weak_ptr<HttpAnswer>(answer_)](HttpAdmission admission) {
        const auto alive = answer.lock();
        if (alive == nullptr)
            return;
        alive->OnSession([weak, answer, admission = std::move(admission)] {
            const auto self = weak.lock();
            if (self != nullptr && self->state_ == State::kGate && self->answer_ == answer.lock())
                self->OnGate(admission);
        });
    });
}

void HttpSession::OnGate(HttpAdmission admission) {
    try {
        if (admission.refusal != 0) {
            Refuse(RefusalText(std::move(admission)));
            return;
        }
        grant_.Watch(connection_, admission.identity.grant);
        reader_->Request().identity = std::move(admission.identity);
        context_->places->SetBusy(*place_);
        Route();
    } catch (const std::exception& error) {
        context_->log.Log(3, "Http", "a client is dropped: %s", error.what());
        Close();
    }
}

void HttpSession::Route() {
    HttpRouter::Match match = context_->router.Find(reader_->Request(), reader_->AsksToUpgrade());
    if (match.upgrade != nullptr && !reader_->HasBody()) {
        Upgrade(*match.upgrade);
        return;
    }
    route_ = match.route;
    if (route_ == nullptr && reader_->HasBody()) {
        Refuse(match.upgrade != nullptr ? HttpFailure(400, "an upgrade has no body")
                                        : std::move(match.failure));
        return;
    }
    if (route_ == nullptr) {
        StartAnswer();
        answer_->Send(std::move(match.failure));
        return;
    }
    state_ = State::kBody;
    const bool isWaiting = reader_->ExpectsContinue() && input_.empty();
    ReadBody();
    if (isWaiting && state_ == State::kBody)
        connection_->Send({}, kContinue, SendQueue::Class::kPiece);
}

void HttpSession::Upgrade(const HttpUpgradeHook& hook) {
    state_ = State::kOver;
    timer_.cancel();
    answer_->Detach();
    connection_->SetEvents({});
    context_->places->Leave(*place_);
    place_ = nullptr;
    HttpUpgrade upgrade{std::move(reader_->Request()), reader_->HeadText(), std::move(input_),
                        std::exchange(connection_, nullptr)};
    const auto connection = upgrade.connection;
    try {
        hook(std::move(upgrade));
    } catch (const std::exception& error) {
        context_->log.Log(3, "Http", "a client is dropped: %s", error.what());
        connection->Close();
    }
}

void HttpSession::ReadBody() {
    using Progress = HttpRequestReader::Progress;
    const Progress progress =
        reader_->HasBody() ? reader_->ReadBody(input_, context_->budget) : Progress::kDone;
    if (progress == Progress::kMore)
        Read();
    else if (progress == Progress::kFailed)
        Refuse(reader_->Failure());
    else
        Handle();
}

void HttpSession::StartAnswer() {
    state_ = State::kAnswer;
    progressAt_ = Clock::now();
    WatchAnswer();
    if (input_.empty())
        Read();
}

void HttpSession::Handle() {
    answer_->Hold(reader_->TakeShare());
    const auto request = std::make_shared<HttpRequest>(std::move(reader_->Request()));
    reader_.reset();
    StartAnswer();
    if (route_->place == HttpPlace::kIoThread) {
        RunHandler(route_->handler, *request, *answer_, context_->log);
        return;
    }
    // The context has the pool, and so outlives what runs there.
    asio::post(context_->pool,
               [&log = context_->log, &handler = route_->handler, request, answer = answer_] {
                   if (!answer->IsGone())
                       RunHandler(handler, *request, *answer, log);
               });
}

/// Answers what cannot be served and ends the session.
void HttpSession::Refuse(HttpResponse response) {
    reader_.reset();
    context_->places->SetIdle(*place_);
    answer_->KeepNotAlive();
    input_.clear();
    StartAnswer();
    answer_->Send(std::move(response));
}

void HttpSession::OnAnswer() {
    if (state_ != State::kAnswer)
        return;
    answer_->Advance();
    switch (answer_->CurrentStage()) {
        case HttpAnswer::Stage::kBroken:
            Close();
            break;
        case HttpAnswer::Stage::kComplete:
        case HttpAnswer::Stage::kLiveOver:
            if (connection_->Counts().queuedBytes == 0)
                AfterAnswer();
            break;
        case HttpAnswer::Stage::kLive:
            input_.clear();
            Read();  // to hear of its end
            break;
        default:
            break;
    }
}

void HttpSession::AfterAnswer() {
    const bool goesOn = answer_->KeepsAlive() && !inputEnded_;
    answer_->Detach();
    answer_.reset();
    if (goesOn)
        AwaitRequest();
    else
        Linger();
}

/// Closing with bytes unread resets the connection, and the client may never see the answer.
void HttpSession::Linger() {
    if (inputEnded_) {
        Close();
        return;
    }
    state_ = State::kLinger;
    context_->places->SetIdle(*place_);
    input_.clear();
    connection_->GetWire().EndSending();
    SetTimer(context_->settings.linger);
    Read();
}

void HttpSession::SetTimer(std::chrono::milliseconds time) {
    timer_.expires_after(time);
    timer_.async_wait([self = shared_from_this()](error_code error) {
        const bool isCurrent = self->timer_.expiry() <= Clock::now();
        if (!error && isCurrent && self->state_ != State::kOver)
            self->OnTimer();
    });
}

void HttpSession::OnTimer() {
    if (state_ == State::kAnswer)
        WatchAnswer();
    else if (state_ == State::kBody || (state_ == State::kHead && begun_))
        Refuse(HttpFailure(408, "the request has taken too long"));
    else
        Close();
}

/// Looks from time to time whether the client takes its answer, and whether it waits for one.
void HttpSession::WatchAnswer() {
    const HttpSettings& settings = context_->settings;
    const auto now = Clock::now();
    const SendCounts counts = connection_->Counts();
    if (counts.queuedBytes == 0 || counts.sentBytes != sentBytes_)
        progressAt_ = now;
    sentBytes_ = counts.sentBytes;
    const HttpAnswer::Stage stage = answer_->CurrentStage();
    const bool waits = stage == HttpAnswer::Stage::kNone || stage == HttpAnswer::Stage::kPieces;
    if (now - progressAt_ >= settings.unread ||
        (inputEnded_ && waits && now - endedAt_ >= settings.linger)) {
        Close();
        return;
    }
    SetTimer(inputEnded_ && waits ? settings.linger : settings.unread / 8);
}

}  // namespace vms::host
