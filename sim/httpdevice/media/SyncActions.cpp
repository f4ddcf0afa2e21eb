#include "sim/httpdevice/media/SyncActions.h"

#include <algorithm>
#include <limits>
#include <set>

#include "sim/httpdevice/api/Json.h"

namespace vms::sim::httpdevice {

namespace {

constexpr double kSlowest = 0.125;
constexpr double kFastest = 16;
constexpr int kMaxMask = 0xffff;

// Nothing when one of them does not exist.
std::optional<std::set<int>> Channels(const Device& device, const Json::Value& data) {
    const Json::Value& list = Member(data, "channels");
    if (list.isNull())
        return std::set<int>();
    if (!list.isArray())
        return std::nullopt;
    std::set<int> channels;
    for (const Json::Value& item : list) {
        if (!item.isInt() || !device.IsChannel(item.asInt()))
            return std::nullopt;
        channels.insert(item.asInt());
    }
    return channels;
}

ActionResult Create(Device& device, Clock::time_point now, const ActionRequest& request) {
    const auto begin = TimeMs(request.data, "startTime");
    const auto end = TimeMs(request.data, "endTime");
    const auto seek = TimeMs(request.data, "seekTime", 0);
    const auto stream = Number(request.data, "stream", 0, device.StreamCount() - 1, 0);
    const auto type = Number(request.data, "fileType", 0, kMaxMask, 0);
    const auto speed = SpeedOf(request.data, 1);
    const auto channels = Channels(device, request.data);
    if (!begin || !end || *begin >= *end || !seek || !stream || !type || !speed || !channels)
        return ResultCode::kBadValue;
    auto session = std::make_shared<SyncSession>();
    session->token = device.faults().Has(DeviceFault::kSameToken) ? "1" : RandomHex(8);
    session->owner = request.token;
    session->beginMs = *begin;
    session->endMs = *end;
    session->stream = static_cast<int>(*stream);
    session->fileType = static_cast<int>(*type);
    const int64_t start = *seek > 0 ? std::clamp(*seek, *begin, *end) : *begin;
    session->clock = std::make_shared<MediaClock>(start, false, now);
    session->clock->SetSpeed(now, *speed, false);
    if (!device.sync().Add(now, session))
        return ResultCode::kNotSupported;
    device.sync().AddChannels(session->token, *channels);
    Json::Value data(Json::objectValue);
    data["token"] = session->token;
    return {ResultCode::kDone, data};
}

ActionResult ChangeChannels(Device& device, const ActionRequest& request,
                            const std::string& token) {
    const auto channels = Channels(device, request.data);
    if (!channels)
        return ResultCode::kBadValue;
    if (request.action == "syncAdd")
        device.sync().AddChannels(token, *channels);
    else
        device.sync().RemoveChannels(token, *channels);
    return ResultCode::kDone;
}

ActionResult Seek(const SyncSession& session, Clock::time_point now, const Json::Value& data) {
    const auto time = TimeMs(data, "time");
    if (!time || *time < session.beginMs || *time >= session.endMs)
        return ResultCode::kBadValue;
    session.clock->Seek(now, *time);
    return ResultCode::kDone;
}

ActionResult SetSpeed(const SyncSession& session, Clock::time_point now, const Json::Value& data) {
    const auto speed = SpeedOf(data, 0);
    if (!speed)
        return ResultCode::kBadValue;
    session.clock->SetSpeed(now, *speed, Member(data, "onlyKeyFrames") == true);
    return ResultCode::kDone;
}

}  // namespace

bool IsSyncControl(const std::string& action) {
    return action.starts_with("sync") && action != "syncPlay";
}

ActionResult ControlSync(Device& device, Clock::time_point now, const ActionRequest& request) {
    const std::string& action = request.action;
    if (action == "syncCreate")
        return Create(device, now, request);
    const std::string token = Text(request.data, "token");
    const SyncTable::Shared session = device.sync().Find(now, token);
    if (!session)
        return ResultCode::kBadValue;
    if (action == "syncAdd" || action == "syncDel")
        return ChangeChannels(device, request, token);
    if (action == "syncSeek")
        return Seek(*session, now, request.data);
    if (action == "syncSpeed")
        return SetSpeed(*session, now, request.data);
    if (action == "syncStart" || action == "syncResume")
        session->clock->Run(now);
    else if (action == "syncPause")
        session->clock->Pause(now);
    else if (action == "syncStop")
        device.sync().Remove(token);
    else
        return ResultCode::kUnknownAction;
    return ResultCode::kDone;
}

std::optional<int64_t> StartOfWindow(const Timeline& timeline, int64_t wantedMs, int64_t beginMs,
                                     int64_t endMs, int fileType) {
    return timeline.NextRecorded(std::max(wantedMs, beginMs), endMs, fileType);
}

std::optional<double> SpeedOf(const Json::Value& data, double fallback) {
    const Json::Value& member = Member(data, "speed");
    if (!member.isNull() && !member.isNumeric())
        return std::nullopt;
    const double speed = member.isNull() ? fallback : member.asDouble();
    return speed >= kSlowest && speed <= kFastest ? std::optional(speed) : std::nullopt;
}

std::optional<int64_t> TimeMs(const Json::Value& data, const char* key,
                              std::optional<int64_t> fallback) {
    const auto seconds = Number(data, key, 0, std::numeric_limits<int32_t>::max(), fallback);
    return seconds ? std::optional(*seconds * 1000) : std::nullopt;
}

}  // namespace vms::sim::httpdevice
