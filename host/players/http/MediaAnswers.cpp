#include "host/players/http/MediaAnswers.h"

namespace vms::host {

HttpResponse MediaHead(LiveContainer container) {
    HttpResponse head;
    head.contentType = container == LiveContainer::kTransportStream ? "video/mp2t" : "video/mp4";
    head.headers = {{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}};
    return head;
}

HttpResponse ProblemAnswer(const SourceProblem& problem) {
    HttpResponse answer = HttpFailure(problem.status, problem.text);
    if (problem.status == 503)
        answer.headers["Retry-After"] = "1";
    return answer;
}

}  // namespace vms::host
