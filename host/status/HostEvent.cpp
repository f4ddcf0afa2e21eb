#include "host/status/HostEvent.h"

#include "host/text/IsoTime.h"
#include "host/text/JsonText.h"
#include "platform/Json.h"

namespace vms::host {

std::string EventJson(const LoggedEvent& event) {
    Json::Value text(Json::objectValue);
    text["id"] = static_cast<Json::Int64>(event.id);
    text["time"] = IsoTimeMs(event.time);
    text["type"] = event.type;
    if (!event.device.empty())
        text["device"] = event.device;
    if (event.channel >= 0)
        text["channel"] = event.channel;
    Json::Value data;
    if (ParseJson(event.data.c_str(), data) && data.isObject())
        text["data"] = data;
    return CompactJson(text);
}

}  // namespace vms::host
