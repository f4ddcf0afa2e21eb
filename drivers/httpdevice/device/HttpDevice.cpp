#include "drivers/httpdevice/device/HttpDevice.h"

#include <json/value.h>

#include <ctime>
#include <iterator>
#include <set>
#include <utility>

#include "deviceapi/Tavero_Http_Encode.h"
#include "drivers/httpdevice/device/AnswerData.h"
#include "drivers/httpdevice/device/RecordSearch.h"
#include "drivers/httpdevice/device/TransparentRequest.h"
#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;

constexpr int kConnectedDirectly = 0;

template <size_t N>
Json::Value ToJson(const int32_t (&flags)[N]) {
    Json::Value list(Json::arrayValue);
    for (const int32_t flag : flags)
        list.append(flag);
    return list;
}

std::string Describe(const __tagTvDevicePermission& permission) {
    Json::Value root;
    root["remote"] = ToJson(permission.remote);
    root["channels"] = Json::Value(Json::arrayValue);
    for (const __tagTvChannelPermission& entry : permission.channels) {
        Json::Value channel;
        channel["channel"] = entry.channel;
        channel["flag"] = ToJson(entry.flag);
        root["channels"].append(std::move(channel));
    }
    return root.toStyledString();
}

}  // namespace

HttpDevice::HttpDevice(std::shared_ptr<DeviceConnection> connection)
    : connection_(std::move(connection)) {}

std::shared_ptr<const DeviceProfile> HttpDevice::Profile() {
    {
        MutexLock lock(mutex_);
        const std::string session = connection_->Session();
        if (profile_ != nullptr && !session.empty() && session == profileSession_ &&
            !connection_->IsDown())
            return profile_;
    }
    return RefreshProfile();
}

std::shared_ptr<const DeviceProfile> HttpDevice::RefreshProfile() {
    auto profile = AskProfile(*connection_);
    if (profile == nullptr)
        return nullptr;
    std::string session = connection_->Session();
    connection_->NoteChannels(profile->channelsTold ? profile->channels : 0, session);
    MutexLock lock(mutex_);
    profile_ = profile;
    profileSession_ = std::move(session);
    return profile;
}

int HttpDevice::KnownTalkEncode() {
    MutexLock lock(mutex_);
    return profile_ == nullptr ? 0 : profile_->talkEncode;
}

/// Asks an endpoint to tell something. @param parameters null = none
bool HttpDevice::Get(const std::string& url, const Json::Value& parameters, Json::Value& data) {
    Json::Value request;
    request["action"] = "get";
    if (!parameters.isNull())
        request["data"] = parameters;
    return connection_->Call(url, request.toStyledString(),
                             [&](const std::string& answer) { return ReadData(answer, data); });
}

int HttpDevice::Find(const __tagTvSearchRecordParam& query, std::list<__tagTvRecordFile>& files) {
    const bool isRange =
        query.startTime >= 0 && (query.endTime == 0 || query.endTime > query.startTime);
    const auto profile = isRange ? Profile() : nullptr;
    if (profile == nullptr || !profile->HasChannel(query.channel))
        return -1;
    return FindRecords(*connection_, *profile, query, files) ? 0 : -1;
}

int HttpDevice::SearchRecord(__tagTvSearchRecordParam* param, std::list<__tagTvRecordFile>* files) {
    return Find(*param, *files);
}

int HttpDevice::QueryRecordDate(__tagTvRecordDate* date, std::list<int>* dates) {
    __tagTvSearchRecordParam query;
    query.channel = static_cast<int16_t>(date->channel);
    query.streamNo = static_cast<int16_t>(date->streamNo);
    query.fileType = date->fileType;
    query.startTime = date->startTime;
    query.endTime = date->endTime;
    std::list<__tagTvRecordFile> files;
    if (query.channel != date->channel || Find(query, files) < 0)
        return -1;
    const std::set<int> days = DaysOf(files, date->startTime, date->endTime);
    dates->insert(dates->end(), days.begin(), days.end());
    return 0;
}

bool HttpDevice::IsCanSeek() {
    const auto profile = Profile();
    return profile != nullptr && profile->seek;
}

int HttpDevice::PreparePlayback(int channel, int streamNo, int /*beginTime*/, int /*endTime*/,
                                int* out1, int* out2, std::string* out3) {
    *out1 = *out2 = 0;
    out3->clear();
    Profile();  // for the number of channels
    connection_->RequireChannel(channel);
    Json::Value parameters;
    Json::Value data;
    parameters["channel"] = channel;
    if (!Get(connection_->Address().Url(&Api::GetUrlRecordEncode), parameters, data))
        return -1;
    const Json::Value& streams = Member(data, "streams");
    for (Json::ArrayIndex i = 0; streams.isArray() && i < streams.size(); ++i) {
        int number = -1;
        if (!ReadInt(streams[i], "stream", number) || number != streamNo)
            continue;
        ReadInt(streams[i], "width", *out1);
        ReadInt(streams[i], "height", *out2);
        ReadString(streams[i], "videoCodec", *out3);
        return 0;
    }
    return -1;
}

std::string HttpDevice::GetDevSessionId() {
    return connection_->SettledSession();
}

int HttpDevice::GetConnectType(int* type, std::string* text) {
    *type = kConnectedDirectly;
    *text = connection_->Address().Description().httpsEnable ? "https" : "http";
    return 0;
}

int HttpDevice::SetChannelName(std::map<int, std::string> names) {
    const auto profile = Profile();
    if (profile == nullptr)
        return -1;
    for (const auto& [channel, name] : names) {
        const std::string url =
            connection_->Address().Url(&Api::GetUrlDevInfo) + "?channel=" + std::to_string(channel);
        if (!profile->HasChannel(channel) ||
            !connection_->Call(url, Api::SetChannelNameRequestData(name.c_str())))
            return -1;
    }
    return 0;
}

int HttpDevice::DevTiming() {
    Json::Value request;
    request["action"] = "set";
    request["data"]["utcTime"] = static_cast<Json::Int64>(std::time(nullptr));
    return connection_->Call(connection_->Address().Url(&Api::GetUrlSystemTime),
                             request.toStyledString())
               ? 0
               : -1;
}

int HttpDevice::GetDeviceTime(Json::Value* time) {
    Json::Value data;
    if (!Get(connection_->Address().Url(&Api::GetUrlSystemTime), {}, data))
        return -1;
    (*time)["time"] = Member(data, "utcTime");
    (*time)["text"] = Member(data, "localTime");
    (*time)["timezone"] = Member(data, "timeZone");
    (*time)["dst"] = Member(data, "dst");
    return 0;
}

int HttpDevice::GetDevicePermission(std::string* body) {
    const auto profile = Profile();
    if (profile == nullptr)
        return -1;
    const auto read =
        profile->rightsV2 ? &Api::DeSerializePermissionV2 : &Api::DeSerializePermission;
    __tagTvDevicePermission permission;
    const bool known = connection_->Call(connection_->Address().Url(&Api::GetUrlUserManager),
                                         R"({"action":"get"})", [&](const std::string& answer) {
                                             permission = {};
                                             return read(answer.c_str(), permission) == 0 &&
                                                    permission.channels.size() <= kMaxItems;
                                         });
    if (!known)
        return -1;
    *body = Describe(permission);
    return 0;
}

int HttpDevice::GetCapability(__tagTvDeviceCapability* capability) {
    const auto profile = RefreshProfile();
    if (profile == nullptr)
        return -1;
    *capability = profile->capability;
    return 0;
}

int HttpDevice::Transmission(std::string uri, std::string request, std::string* body) {
    const auto profile = Profile();
    if (profile == nullptr) {
        *body = RefusedTransmission("device not reachable");
        return -1;
    }
    return Transmit(*connection_, *profile, uri, request, *body);
}

}  // namespace vms::httpdevice
