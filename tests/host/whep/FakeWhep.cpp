// A library that speaks no WebRTC: it answers as it is told, and remembers.
#include "tests/host/whep/FakeWhep.h"

namespace {

using namespace vms::whep;
using vms::host::test::FakeWhep;

FakeWhep& State() {
    static FakeWhep state;
    return state;
}

std::string Answer(const SessionRequest& request) {
    std::string answer =
        "v=0\r\no=- 1 1 IN IP4 0.0.0.0\r\ns=-\r\nt=0 0\r\na=group:BUNDLE v\r\n"
        "m=video 9 UDP/TLS/RTP/SAVPF 102\r\na=mid:v\r\na=sendonly\r\n";
    if (request.audioPayload >= 0)
        answer += "m=audio 9 UDP/TLS/RTP/SAVPF 8\r\na=mid:a\r\na=sendonly\r\n";
    return answer;
}

class FakeSession final : public Session {
public:
    ~FakeSession() override { State().Closed(); }
    void Push(const vms::MediaUnit& unit, int64_t timeMs) noexcept override {
        State().Push({unit.Header().serial, timeMs});
    }
    size_t WaitingBytes() const noexcept override { return 0; }
};

class FakeEngine final : public Engine {
public:
    std::shared_ptr<Session> Open(const SessionRequest& request,
                                  std::shared_ptr<SessionEvents> events) noexcept override {
        State().Opened(request, events);
        if (State().HowToBehave() == FakeWhep::Manner::kAnswers)
            events->Answered(Answer(request));
        else if (State().HowToBehave() == FakeWhep::Manner::kFails)
            events->Ended("it has failed");
        return std::make_shared<FakeSession>();
    }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) Engine* CreateWhepEngine(int version,
                                                                           ILogHandler*) {
    return version == kPluginVersion ? new FakeEngine : nullptr;
}

extern "C" __attribute__((visibility("default"))) FakeWhep* GetFakeWhep() {
    return &State();
}
