#include "host/http/HttpAnswer.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace vms::host {
namespace {

/// A text that is there already.
class TextBody final : public HttpBody {
public:
    explicit TextBody(std::string text) : text_(std::move(text)) {}

    std::optional<uint64_t> Length() const override { return text_.size(); }

    void Pull(Sink sink) override {
        std::string piece = text_.substr(given_, kMostBytes);
        given_ += piece.size();
        sink(std::move(piece));
    }

private:
    const std::string text_;
    size_t given_ = 0;
};

bool NeverHasBody(int status) {
    return status < 200 || status == 204 || status == 304;
}

/// What goes before a chunk; its body ends with the line end that belongs to it.
FramePrefix ChunkPrefix(size_t bytes) {
    FramePrefix prefix;
    const int size = std::snprintf(prefix.bytes.data(), prefix.bytes.size(), "%zx\r\n", bytes);
    prefix.size = static_cast<uint8_t>(size);
    return prefix;
}

}  // namespace

HttpAnswer::HttpAnswer(std::shared_ptr<Connection> connection, std::function<void()> changed)
    : changed_(std::move(changed)), connection_(std::move(connection)) {}

HttpAnswer::~HttpAnswer() = default;

std::shared_ptr<HttpReply> HttpAnswer::Handle() {
    return {this, [self = shared_from_this()](HttpReply*) { self->Abandon(); }};
}

void HttpAnswer::SetRequest(unsigned version, bool isHead, bool keepsAlive) {
    MutexLock lock(mutex_);
    framing_.isOldClient = version < 11;
    framing_.keepsAlive = keepsAlive;
    isHead_ = isHead;
}

void HttpAnswer::Hold(BodyBudget::Share share) {
    MutexLock lock(mutex_);
    share_ = std::move(share);
}

void HttpAnswer::KeepNotAlive() {
    MutexLock lock(mutex_);
    framing_.keepsAlive = false;
}

HttpAnswer::Stage HttpAnswer::CurrentStage() const {
    MutexLock lock(mutex_);
    return stage_;
}

bool HttpAnswer::KeepsAlive() const {
    MutexLock lock(mutex_);
    return framing_.keepsAlive;
}

bool HttpAnswer::IsGone() const {
    MutexLock lock(mutex_);
    return connection_ == nullptr && stage_ != Stage::kComplete;
}

void HttpAnswer::Change(Stage stage) {
    if (stage_ == Stage::kComplete || stage_ == Stage::kBroken)
        return;
    stage_ = stage;
    if (stage == Stage::kComplete)
        share_ = {};
    changed_();
}

bool HttpAnswer::SendBytes(std::string_view bytes) {
    if (connection_->Send({}, bytes, SendQueue::Class::kPiece))
        return true;
    Change(Stage::kBroken);
    return false;
}

void HttpAnswer::Send(HttpResponse response) {
    MutexLock lock(mutex_);
    if (!IsOpen())
        return;
    if (!NeverHasBody(response.status))
        framing_.length = response.body.size();
    if (!isHead_ && framing_.length.value_or(0) > HttpBody::kMostBytes) {
        auto body = std::make_unique<TextBody>(std::move(response.body));
        BeginPulled(response, std::move(body));
        return;
    }
    std::string bytes = HttpHead(response, framing_);
    if (!isHead_ && framing_.length)
        bytes += response.body;
    if (SendBytes(bytes))
        Change(Stage::kComplete);
}

void HttpAnswer::SendBody(HttpResponse head, std::unique_ptr<HttpBody> body) {
    MutexLock lock(mutex_);
    if (!IsOpen())
        return;
    framing_.length = body->Length();
    framing_.isChunked = !framing_.length && !framing_.isOldClient;
    framing_.keepsAlive = framing_.keepsAlive && (framing_.length || framing_.isChunked);
    if (!isHead_)
        BeginPulled(head, std::move(body));
    else if (SendBytes(HttpHead(head, framing_)))
        Change(Stage::kComplete);
}

void HttpAnswer::BeginPulled(const HttpResponse& head, std::unique_ptr<HttpBody> body) {
    body_ = std::move(body);  // first: it must not be destroyed here
    left_ = framing_.length;
    if (SendBytes(HttpHead(head, framing_)))
        Change(left_ == uint64_t{0} ? Stage::kComplete : Stage::kPulled);
}

/// @return whether anything may follow the head
bool HttpAnswer::BeginUnended(HttpResponse& head) {
    if (!SendBytes(HttpHead(head, framing_)))
        return false;
    if (isHead_)
        Change(Stage::kComplete);
    return !isHead_;
}

void HttpAnswer::Begin(HttpResponse head) {
    MutexLock lock(mutex_);
    if (!IsOpen())
        return;
    framing_.isChunked = !framing_.isOldClient;
    framing_.keepsAlive = framing_.keepsAlive && framing_.isChunked;
    if (BeginUnended(head))
        Change(Stage::kPieces);
}

bool HttpAnswer::Write(std::string_view piece) {
    MutexLock lock(mutex_);
    if (connection_ == nullptr || stage_ != Stage::kPieces)
        return false;
    while (!piece.empty()) {
        if (connection_->Counts().queuedBytes > kMostWaiting) {
            Change(Stage::kBroken);
            return false;
        }
        const std::string_view part = piece.substr(0, HttpBody::kMostBytes);
        piece.remove_prefix(part.size());
        if (!SendPiece(part))
            return false;
    }
    return true;
}

bool HttpAnswer::SendPiece(std::string_view piece) {
    if (!framing_.isChunked)
        return SendBytes(piece);
    const std::string line = std::string(piece) + "\r\n";
    if (connection_->Send(ChunkPrefix(piece.size()), line, SendQueue::Class::kPiece))
        return true;
    Change(Stage::kBroken);
    return false;
}

void HttpAnswer::Finish() {
    if (!framing_.isChunked || SendBytes("0\r\n\r\n"))
        Change(Stage::kComplete);
}

void HttpAnswer::End() {
    MutexLock lock(mutex_);
    if (connection_ == nullptr)
        return;
    if (stage_ == Stage::kPieces)
        Finish();
    else if (stage_ == Stage::kLive)
        EndLive();
}

std::shared_ptr<Connection> HttpAnswer::BeginLive(HttpResponse head) {
    MutexLock lock(mutex_);
    if (!IsOpen())
        return nullptr;
    framing_.keepsAlive = false;
    if (!BeginUnended(head))
        return nullptr;
    Change(Stage::kLive);
    return connection_;
}

void HttpAnswer::EndLive() {
    connection_->Finish();
    Change(Stage::kLiveOver);
}

void HttpAnswer::OnGone(std::function<void()> gone) {
    MutexLock lock(mutex_);
    if (stage_ == Stage::kComplete)
        return;
    if (connection_ != nullptr) {
        gone_.swap(gone);  // what it replaces goes with the argument, without the lock
        return;
    }
    lock.Unlock();
    gone();
}

void HttpAnswer::Abandon() {
    {
        MutexLock lock(mutex_);
        if (connection_ == nullptr)
            return;
        if (stage_ == Stage::kLive)
            EndLive();
        else if (stage_ == Stage::kPieces)
            Change(Stage::kBroken);
    }
    Send(HttpFailure(500, "the request failed"));
}

void HttpAnswer::OnSession(std::function<void()> function) {
    MutexLock lock(mutex_);
    if (connection_ != nullptr)
        boost::asio::post(connection_->Io().Context(), std::move(function));
}

void HttpAnswer::Advance() {
    std::unique_ptr<HttpBody> over;
    HttpBody* asked = nullptr;
    uint64_t serial = 0;
    {
        MutexLock lock(mutex_);
        if (connection_ == nullptr)
            return;
        if (std::exchange(hasPiece_, false) && stage_ == Stage::kPulled)
            TakePulled(std::exchange(piece_, std::nullopt));
        if (stage_ != Stage::kPulled) {
            over = std::move(body_);
        } else if (!asked_ && connection_->Counts().queuedBytes == 0) {
            asked_ = true;
            serial = ++pulls_;
            asked = body_.get();
        }
    }
    if (asked == nullptr)
        return;
    try {
        asked->Pull([weak = weak_from_this(), serial](std::optional<std::string> piece) {
            if (const auto self = weak.lock())
                self->Pulled(serial, std::move(piece));
        });
    } catch (const std::exception&) {
        Pulled(serial, std::nullopt);
    }
}

void HttpAnswer::Pulled(uint64_t serial, std::optional<std::string> piece) {
    MutexLock lock(mutex_);
    if (connection_ == nullptr || !asked_ || serial != pulls_)
        return;
    asked_ = false;
    hasPiece_ = true;
    piece_ = std::move(piece);
    changed_();
}

void HttpAnswer::TakePulled(std::optional<std::string> piece) {
    if (!piece ||
        piece->size() > std::min<uint64_t>(left_.value_or(UINT64_MAX), HttpBody::kMostBytes)) {
        Change(Stage::kBroken);
    } else if (piece->empty()) {
        if (left_)
            Change(Stage::kBroken);  // shorter than it said
        else
            Finish();
    } else if (SendPiece(*piece) && left_) {
        *left_ -= piece->size();
        if (*left_ == 0)
            Change(Stage::kComplete);
    }
}

void HttpAnswer::Detach() {
    std::unique_ptr<HttpBody> body;
    std::function<void()> gone;
    {
        MutexLock lock(mutex_);
        if (connection_ == nullptr)
            return;
        connection_ = nullptr;
        share_ = {};
        body = std::move(body_);
        gone = std::exchange(gone_, nullptr);
        if (stage_ == Stage::kComplete)
            return;
    }
    if (!gone)
        return;
    try {
        gone();
    } catch (const std::exception&) {  // there is nobody left to be told
    }
}

}  // namespace vms::host
