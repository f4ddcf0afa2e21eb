#include "host/api/CommandApi.h"

#include <charconv>
#include <optional>

#include "host/CommandId.h"
#include "host/JsonText.h"
#include "platform/Json.h"

namespace vms {
namespace {

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
        case Answer::Kind::answered:
            return {200, "application/json", AnswerText(answer) + "\n", {}};
        case Answer::Kind::threw:
            return HttpFailure(502, "the module failed with an exception");
        case Answer::Kind::silent:
            return HttpFailure(504, "the module has not answered");
        case Answer::Kind::queueFull:
            return HttpFailure(503, "too many requests are waiting");
        case Answer::Kind::noHandler:
            return HttpFailure(404, "no module of that name handles this command");
    }
    return HttpFailure(500, "unknown outcome");
}

}  // namespace

void CommandApi::Serve(const HttpRequest& request, HttpReply& reply) const {
    BusRequest command{};
    const std::string problem = ReadCommand(request.body, command);
    if (!problem.empty())
        reply.Send(HttpFailure(400, problem));
    else if (command.id == TV_CMD_SEARCH_DEVICE)
        ServePages(command, reply);
    else
        reply.Send(Whole(bus_.Ask(command, patience_)));
}

void CommandApi::ServePages(const BusRequest& request, HttpReply& reply) const {
    bool begun = false;
    const auto onAnswer = [&](const Answer& page) {
        if (!begun)
            reply.Begin(200, "application/x-ndjson");
        begun = true;
        reply.WriteLine(AnswerText(page));
    };
    const Answer last = bus_.AskPages(request, onAnswer, patience_);
    if (!begun) {
        reply.Send(Whole(last));
        return;
    }
    if (last.kind != Answer::Kind::answered)
        reply.WriteLine(Whole(last).body);
    reply.End();
}

}  // namespace vms
