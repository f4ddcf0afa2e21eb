#include "host/api/FaceOutlet.h"

#include "platform/Json.h"

namespace vms::host {

void FaceOutlet::Take(const MediaUnit& unit) {
    if (unit.Header().type != MediaType::kFace || unit.Payload().empty())
        return;
    ++taken_;
    if (!MayTell()) {
        ++missed_;
        return;
    }
    HostEvent event{"face", address_.device, address_.channel, Json::Value(Json::objectValue)};
    event.data["packet"] = unit.Header().frameType;
    event.data["bytes"] = static_cast<Json::UInt64>(unit.Payload().size());
    if (missed_ > 0)
        event.data["missed"] = std::exchange(missed_, 0);
    const std::string told(unit.Payload().substr(0, kLongestTold));
    Json::Value face;
    if (unit.Payload().size() <= kLongestTold && ParseJson(told.c_str(), face) && face.isObject())
        event.data["face"] = std::move(face);
    events_.Append(std::move(event));
}

bool FaceOutlet::MayTell() {
    const auto now = Clock::now();
    if (now - second_ >= std::chrono::seconds(1)) {
        second_ = now;
        inSecond_ = 0;
    }
    return ++inSecond_ <= kMostPerSecond;
}

}  // namespace vms::host
