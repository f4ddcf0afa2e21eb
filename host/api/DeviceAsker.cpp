#include "host/api/DeviceAsker.h"

#include <utility>

#include "host/api/ApiError.h"
#include "host/text/JsonText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

/// A module's answer up to this length is read where it arrives.
constexpr size_t kShort = size_t{64} << 10;

HttpResponse Failure(const Answer& answer, const std::string& words) {
    switch (answer.kind) {
        case Answer::Kind::kAnswered:
            break;
        case Answer::Kind::kThrew:
            return HttpFailure(502, "the module failed with an exception");
        case Answer::Kind::kSilent:
            return HttpFailure(504, "the device has not answered");
        case Answer::Kind::kQueueFull:
            return HttpFailure(503, "too many requests are waiting");
        case Answer::Kind::kNoHandler:
            return HttpFailure(501, "the module of this device cannot do this");
    }
    return HttpFailure(502, words);
}

void Reply(HttpReply& reply, const DeviceAsker::Then& then, const std::string& body) {
    try {
        reply.Send(then(body));
    } catch (const std::exception&) {
        reply.Send(CurrentFailure());
    }
}

}  // namespace

HttpResponse JsonAnswer(const Json::Value& value) {
    return {200, "application/json", CompactJson(value) + "\n", {}};
}

HttpResponse EmptyAnswer() {
    return {204, "application/json", "", {}};
}

std::string DeviceAsker::ModuleOf(const std::string& device) const {
    std::string module = devices_.ModuleOf(device);
    if (module.empty())
        throw ApiError(404, "there is no device \"" + device + "\"");
    return module;
}

void DeviceAsker::Ask(Question question, const std::shared_ptr<HttpReply>& reply, Then then,
                      Outcome outcome) {
    const std::string module = ModuleOf(question.device);
    const std::string share = "device " + question.device;
    AskModule(module, share, std::move(question), reply, std::move(then), std::move(outcome));
}

void DeviceAsker::AskModule(const std::string& module, const std::string& share, Question question,
                            const std::shared_ptr<HttpReply>& reply, Then then, Outcome outcome) {
    std::string problem;
    auto part =
        shares_->Take(share, {question.body.size(), MostJsonValues(question.body)}, problem);
    if (part == nullptr)
        throw ApiError(503, problem);
    const auto onEnd = [weak = std::weak_ptr(worker_), reply, then = std::move(then),
                        outcome = std::move(outcome),
                        words = std::move(question.failure)](const Answer& answer) {
        if (outcome)
            outcome(answer);
        if (!answer.Succeeded()) {
            reply->Send(Failure(answer, words));
            return;
        }
        if (answer.body.size() <= kShort) {
            Reply(*reply, then, answer.body);
            return;
        }
        const auto worker = weak.lock();
        const auto read = [reply, then, body = answer.body] { Reply(*reply, then, body); };
        if (worker != nullptr && !worker->Post(read))
            reply->Send(HttpFailure(503, "too many long answers are waiting"));
    };
    const BusRequest request{module, question.id, question.device, question.body};
    bus_.AskAsync(request, {.onAnswer = {}, .onEnd = onEnd, .hold = std::move(part)});
}

}  // namespace vms::host
