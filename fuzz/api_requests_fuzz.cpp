// Requests of the API by plain names, and what modules answer to them:
//   byte 0       which operation
//   up to a 0    its query
//   up to a 0    its body
//   the rest     the module's answer
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <string_view>

#include "host/api/HostApi.h"
#include "host/http/HttpTarget.h"
#include "host/modules/AddedDevices.h"
#include "host/state/Database.h"
#include "platform/CommandPtr.h"
#include "platform/CreateCommandBusInstance.h"

namespace {

using namespace vms;
using namespace vms::host;

struct Operation {
    const char* method;
    const char* path;
};

constexpr Operation kOperations[] = {{"POST", "/api/devices"},
                                     {"PATCH", "/api/devices/cam"},
                                     {"POST", "/api/devices/test"},
                                     {"PUT", "/api/devices/cam/channels"},
                                     {"GET", "/api/devices/cam/channels"},
                                     {"GET", "/api/devices/cam/time"},
                                     {"GET", "/api/devices/cam/capability"},
                                     {"GET", "/api/devices"},
                                     {"GET", "/api/records"},
                                     {"GET", "/api/record-days"},
                                     {"POST", "/api/ptz"},
                                     {"PUT", "/api/ptz"},
                                     {"GET", "/api/presets"},
                                     {"PUT", "/api/presets"},
                                     {"GET", "/api/cruises"},
                                     {"PUT", "/api/cruises"},
                                     {"GET", "/api/events/log"},
                                     {"GET", "/api/events"},
                                     {"POST", "/api/commands"}};

/// Takes one answer.
class OneReply final : public HttpReply {
public:
    explicit OneReply(std::promise<int>& answered) : answered_(answered) {}
    ~OneReply() override { answered_.set_value(status_); }

    void Send(HttpResponse response) override { status_ = response.status; }
    void SendBody(HttpResponse head, std::unique_ptr<HttpBody>) override { status_ = head.status; }
    void Begin(HttpResponse head) override { status_ = head.status; }
    bool Write(std::string_view) override { return true; }
    void End() override {}
    std::shared_ptr<Connection> BeginLive(HttpResponse head) override {
        status_ = head.status;
        return nullptr;
    }
    void OnGone(std::function<void()>) override {}
    bool IsGone() const override { return false; }

private:
    std::promise<int>& answered_;
    int status_ = 0;
};

/// A host's API with one module, which answers whatever the input has.
class Host {
public:
    Host() {
        for (int id = TV_CMD_DEVICES_ENQUEUE; id <= TV_CMD_TRANSMISSION; ++id)
            bus_.Bus().RegisterCommand("m", static_cast<__enumTvCommand>(id),
                                       [this](__tagTvCommand* request) { Answer(*request); });
        api_.AddTo(router_);
    }
    ~Host() { bus_.Bus().UnregisterModule("m"); }

    /// @return the status; 0 = none came
    int Ask(const Operation& operation, const std::string& query, const std::string& body,
            const std::string& answer) {
        HttpRequest request;
        request.method = operation.method;
        request.body = body;
        if (!ReadHttpTarget(std::string(operation.path) + "?" + query, request))
            return 400;
        const HttpRouter::Match match = router_.Find(request, false);
        if (match.route == nullptr)
            std::abort();
        answer_ = answer;
        std::promise<int> answered;
        match.route->handler(request, std::make_shared<OneReply>(answered));
        auto status = answered.get_future();
        if (status.wait_for(std::chrono::seconds(20)) != std::future_status::ready)
            std::abort();
        return status.get();
    }

private:
    static HostConfig Config() {
        HostConfig config;
        config.modules.resize(1);
        config.modules[0].name = "m";
        config.modules[0].devices[0]["id"] = "cam";
        return config;
    }

    void Answer(const __tagTvCommand& request) {
        const CommandPtr response(
            SysCommandHelper::CreateResponseCommand(&request, 1, answer_.c_str()));
        bus_.Bus().SendResponse(response.get());
    }

    LogSink log_{"fuzz", LogPrinting::kNothing};
    BusClient bus_;
    std::string answer_;
    Database database_{nullptr};
    AddedDevices store_{database_};
    EventLog events_{database_, log_};
    StatusBoard board_{bus_.Bus()};
    DeviceLists devices_{"/nowhere", "", Config(), bus_, log_, &store_, {}, {.added = 100}};
    HostApi api_{
        bus_, devices_, board_,
        PlayerFigures{[] { return std::vector<PlayerInfo>(); }, [] { return StreamSummary(); }},
        &events_};
    HttpRouter router_;
};

/// Takes the text up to the next 0, or all.
std::string TakeText(std::string_view& rest) {
    const size_t end = std::min(rest.find('\0'), rest.size());
    std::string text(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Host host;
    if (size == 0)
        return -1;
    std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    const Operation& operation = kOperations[data[0] % std::size(kOperations)];
    const std::string query = TakeText(rest);
    const std::string body = TakeText(rest);
    if (host.Ask(operation, query, body, std::string(rest)) == 0)
        std::abort();  // every request is answered
    return 0;
}
