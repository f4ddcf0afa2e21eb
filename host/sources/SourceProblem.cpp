#include "host/sources/SourceProblem.h"

namespace vms::host {

SourceProblem ProblemOf(const Answer& answer) {
    switch (answer.kind) {
        case Answer::Kind::kAnswered:
            return {404, "the device has no such stream at the moment"};
        case Answer::Kind::kThrew:
            return {502, "the module failed with an exception"};
        case Answer::Kind::kSilent:
            return {504, "the device has not answered"};
        case Answer::Kind::kQueueFull:
            return {503, "too many requests are waiting"};
        case Answer::Kind::kNoHandler:
            return {404, "the module of the device has no such streams"};
    }
    return {502, "unknown outcome"};
}

}  // namespace vms::host
