#include "host/api/CommandApi.h"

#include <atomic>
#include <optional>
#include <utility>

#include "host/modules/CommandId.h"
#include "host/text/JsonText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

/// A list of 10,000 devices has nine tenths of that.
constexpr size_t kMostValues = 100'000;

std::optional<int32_t> ReadCommandId(const Json::Value& value) {
    if (value.isString())
        return ParseCommandId(value.asString());
    if (value.isInt() && value.asInt() > 0)
        return value.asInt();
    return std::nullopt;
}

/// @return what is wrong, "" = nothing
std::string ReadCommand(const std::string& text, BusRequest& request) {
    Json::Value document;
    if (MostJsonValues(text) > kMostValues)
        return "the request has more than 100,000 values";
    if (!ParseJson(text.c_str(), document) || !document.isObject())
        return "the request is not a JSON object";
    const auto id = ReadCommandId(Member(document, "id"));
    if (!id)
        return "\"id\" must be a command identifier such as \"0x10010a\"";
    request.id = static_cast<__enumTvCommand>(*id);
    if (!ReadString(document, "module", request.module) || request.module.empty())
        return "\"module\" must name a module";
    ReadString(document, "deviceId", request.deviceId);
    const Json::Value& body = Member(document, "body");
    if (body.isString())
        request.body = body.asString();
    else if (!body.isNull())
        request.body = CompactJson(body);
    if (MostJsonValues(request.body) > kMostValues)
        return "\"body\" has more than 100,000 values";
    return "";
}

std::string AnswerText(const Answer& answer) {
    Json::Value text(Json::objectValue);
    text["result"] = answer.result;
    text["body"] = answer.body;
    return CompactJson(text);
}

HttpResponse Whole(const Answer& answer) {
    switch (answer.kind) {
        case Answer::Kind::kAnswered:
            return {200, "application/json", AnswerText(answer) + "\n", {}};
        case Answer::Kind::kThrew:
            return HttpFailure(502, "the module failed with an exception");
        case Answer::Kind::kSilent:
            return HttpFailure(504, "the module has not answered");
        case Answer::Kind::kQueueFull:
            return HttpFailure(503, "too many requests are waiting");
        case Answer::Kind::kNoHandler:
            return HttpFailure(404, "no module of that name handles this command");
    }
    return HttpFailure(500, "unknown outcome");
}

/// Whom the request's share belongs to.
std::string ShareName(const BusRequest& command) {
    return command.deviceId.empty() ? "module " + command.module : "device " + command.deviceId;
}

/// Whether the answer names a stream that costs a device connection until somebody watches it.
bool OpensStream(__enumTvCommand id) {
    return id == TV_CMD_GET_PREVIEW_URL || id == TV_CMD_GET_PLAYBACK_URL ||
           id == TV_CMD_GET_RECORD_DOWNLOAD_URL;
}

/// "" = the answer names none.
std::string KeyIn(const Answer& answer) {
    Json::Value body;
    std::string key;
    if (answer.Succeeded() && ParseJson(answer.body.c_str(), body))
        ReadString(body, "uri", key);
    return key;
}

BusClient::AsyncSinks WholeTo(const std::shared_ptr<HttpReply>& reply, std::shared_ptr<void> share,
                              const std::function<void(const Answer&)>& note) {
    return {.onAnswer = {},
            .onEnd =
                [reply, note](const Answer& answer) {
                    note(answer);
                    reply->Send(Whole(answer));
                },
            .hold = std::move(share)};
}

/// A line for each page, as it comes; without any, the answer is as to other commands.
BusClient::AsyncSinks PagesTo(const std::shared_ptr<HttpReply>& reply,
                              std::shared_ptr<void> share) {
    const auto begun = std::make_shared<std::atomic<bool>>(false);
    const auto onPage = [reply, begun](const Answer& page) {
        if (!begun->exchange(true))
            reply->Begin({200, "application/x-ndjson", "", {}});
        reply->Write(AnswerText(page) + "\n");
    };
    const auto onEnd = [reply, begun](const Answer& last) {
        if (!*begun) {
            reply->Send(Whole(last));
            return;
        }
        if (last.kind != Answer::Kind::kAnswered)
            reply->Write(Whole(last).body);
        reply->End();
    };
    return {.onAnswer = onPage, .onEnd = onEnd, .hold = std::move(share)};
}

}  // namespace

/// What is to be done with the answer before it is sent: a player may come for the stream at once.
std::function<void(const Answer&)> CommandApi::Noting(uint64_t stream, bool isLive) const {
    if (stream == 0)
        return [](const Answer&) {};
    return [stream, isLive, unwatched = unwatched_, expect = expect_](const Answer& answer) {
        const std::string key = KeyIn(answer);
        unwatched->Opened(stream, key);
        if (isLive && !key.empty())
            expect(key);
    };
}

void CommandApi::Serve(const HttpRequest& request, std::shared_ptr<HttpReply> reply) const {
    BusRequest command{};
    std::string problem = ReadCommand(request.body, command);
    if (!problem.empty()) {
        reply->Send(HttpFailure(400, problem));
        return;
    }
    uint64_t stream = 0;
    if (OpensStream(command.id)) {
        stream = unwatched_->Open(request.peerAddress);
        if (stream == 0) {
            reply->Send(HttpFailure(503, "too many streams have been opened that nobody watches"));
            return;
        }
    }
    auto share = shares_->Take(ShareName(command),
                               {request.body.size(), MostJsonValues(command.body)}, problem);
    if (share == nullptr) {
        unwatched_->Opened(stream, "");
        reply->Send(HttpFailure(503, problem));
        return;
    }
    const bool isSearch = command.id == TV_CMD_SEARCH_DEVICE;
    const BusClient::Pending pending =
        isSearch ? bus_.AskPagesAsync(command, PagesTo(reply, std::move(share)), patience_)
                 : bus_.AskAsync(command,
                                 WholeTo(reply, std::move(share),
                                         Noting(stream, command.id == TV_CMD_GET_PREVIEW_URL)),
                                 patience_);
    reply->OnGone([pending] { pending.Cancel(); });
}

}  // namespace vms::host
