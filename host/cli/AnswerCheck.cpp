#include "host/cli/AnswerCheck.h"

#include "host/text/HostError.h"
#include "host/text/TerminalText.h"

namespace vms::host {
namespace {

std::string Reason(const Answer& answer) {
    switch (answer.kind) {
        case Answer::Kind::kAnswered:
            return answer.body.empty() ? "the module answered with a failure"
                                       : "the module answered: " + Printable(answer.body);
        case Answer::Kind::kThrew:
            return "the module's handler failed without an answer (device unreachable, login "
                   "refused "
                   "or no such stream)";
        case Answer::Kind::kSilent:
            return "no answer in time";
        case Answer::Kind::kQueueFull:
            return "too many requests are waiting on the bus, try again later";
        case Answer::Kind::kNoHandler:
            return "the module does not know this command";
    }
    return "unknown outcome";
}

}  // namespace

std::string FailureText(const Answer& answer, const std::string& asked, const LogSink& log) {
    const std::string line = log.LastLine();
    const std::string text = asked + ": " + Reason(answer);
    return line.empty() ? text : text + "\n  last log line: " + line;
}

void RequireSuccess(const Answer& answer, const std::string& asked, const LogSink& log) {
    if (!answer.Succeeded())
        throw HostError(FailureText(answer, asked, log));
}

}  // namespace vms::host
