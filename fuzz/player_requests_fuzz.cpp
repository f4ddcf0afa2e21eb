// What a player sends: the first byte chooses a text frame, a binary frame or a request target.
// Texts go through the protocol into a video module with one live stream, whose key they name with
// "$".
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "bench/NullFamily.h"
#include "host/http/HttpTarget.h"
#include "host/players/websocket/PlayerProtocol.h"
#include "media/unit/MediaHeader.h"
#include "media/unit/MediaUnit.h"
#include "platform/CommandPtr.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/Json.h"
#include "videodevice/VideoDeviceModule.h"

namespace {

constexpr long long kPlayer = 1;

class LiveModule {
public:
    LiveModule() {
        module_.SetConnectionControl(&controller_);
        module_.Init("fuzz", "{}");
        Command(&VideoDeviceModule::DevicesEnqueue, R"([{"id": "d"}])");
        Command(&VideoDeviceModule::GetPreviewUrl, R"({"id": "d"})");
    }
    ~LiveModule() { CreateCommandBusInstance()->UnregisterModule("fuzz"); }

    const std::string& Key() const { return factory_.keys.front(); }

    void Ask(const vms::host::PlayerRequest& request) {
        const vms::CommandPtr record(SysCommandHelper::CreateRequestCommand(
            static_cast<__enumTvCommand>(request.command), "player", request.key.c_str(),
            request.body.c_str(), ""));
        module_.OnRecv(kPlayer, record.get(), 0);
    }

    void Send(std::string& unit) {
        module_.OnStream(kPlayer, unit.data(), static_cast<int>(unit.size()));
    }

    /// Leaves nothing behind for the next input.
    void Leave() { module_.OnClose(kPlayer, 0, ""); }

private:
    void Command(void (VideoDeviceModule::*handler)(__tagTvCommand*), const std::string& body) {
        __tagTvCommand command;
        command.deviceId = "d";
        command.body = body;
        (module_.*handler)(&command);
    }

    bench::NullController controller_;
    bench::NullFactory factory_;
    VideoDeviceModule module_{&factory_};
};

void Require(bool condition) {
    if (!condition)
        std::abort();
}

void TakeText(LiveModule& module, const std::string& text) {
    vms::host::PlayerRequest request;
    if (vms::host::ReadPlayerRequest(text, request)) {
        if (request.key == "$")
            request.key = module.Key();
        module.Ask(request);
        module.Leave();
    }
    Json::Value answer;
    int command = 0;
    Require(vms::ParseJson(vms::host::PlayerAnswer(request, -1).c_str(), answer));
    Require(vms::ReadInt(answer, "cmd", command) && command == request.command);
}

void TakeUnit(LiveModule& module, std::string unit) {
    vms::MediaUnitHeader header;
    const bool isWhole = vms::ReadMediaHeader(unit, header);
    Require(isWhole == (unit.size() >= vms::kMediaHeaderSize));
    const vms::MediaUnit copy = vms::MediaUnit::Copy(unit);
    Require((copy.Kind() == vms::UnitKind::kKeyPicture) == (isWhole && header.IsKeyPicture()));
    Require(copy.Payload().size() == (isWhole ? unit.size() - vms::kMediaHeaderSize : 0));
    module.Send(unit);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static LiveModule module;
    if (size == 0)
        return 0;
    std::string rest(reinterpret_cast<const char*>(data + 1), size - 1);
    vms::host::HttpRequest request;
    switch (data[0]) {
        case 'b':
            TakeUnit(module, std::move(rest));
            break;
        case 'u':
            if (vms::host::ReadHttpTarget(rest, request))
                Require(request.path.empty() || request.path.size() <= rest.size());
            break;
        default:
            TakeText(module, rest);
    }
    return 0;
}
