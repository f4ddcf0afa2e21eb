#include "drivers/mediafile/device/MediaFileDevice.h"

#include <json/value.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <set>
#include <utility>

#include "media/recording/RecordingName.h"
#include "platform/Guid.h"
#include "platform/Json.h"

namespace vms::mediafile {
namespace {

constexpr int kConnectedByFile = 0;

int64_t Ms(int seconds) {
    return int64_t{seconds} * 1000;
}

bool IsRange(int beginTime, int endTime) {
    return beginTime >= 0 && (endTime == 0 || endTime > beginTime);
}

int Seconds(int64_t ms) {
    return static_cast<int>(std::clamp<int64_t>(ms / 1000, 0, std::numeric_limits<int32_t>::max()));
}

__tagTvRecordFile Describe(const Recording& recording, int index) {
    __tagTvRecordFile file;
    file.index = index;
    file.fileType = recording.fileType;
    file.startTime = Seconds(recording.startMs);
    file.endTime = Seconds(recording.endMs + 999);
    file.fileSize = static_cast<int32_t>(
        std::min<int64_t>(recording.size, std::numeric_limits<int32_t>::max()));
    return file;
}

Json::Value Ones(int count) {
    Json::Value list(Json::arrayValue);
    for (int i = 0; i < count; ++i)
        list.append(1);
    return list;
}

}  // namespace

MediaFileDevice::MediaFileDevice(std::shared_ptr<const RecordingIndex> index)
    : index_(std::move(index)), sessionId_(GetGuid()) {}

int MediaFileDevice::SearchRecord(__tagTvSearchRecordParam* param,
                                  std::list<__tagTvRecordFile>* files) {
    if (!IsRange(param->startTime, param->endTime) || !index_->HasChannel(param->channel))
        return -1;
    int count = 0;
    for (const Recording& recording :
         index_->Find(param->channel, Ms(param->startTime), Ms(param->endTime), param->fileType))
        files->push_back(Describe(recording, count++));
    return count;
}

int MediaFileDevice::QueryRecordDate(__tagTvRecordDate* date, std::list<int>* dates) {
    if (!IsRange(date->startTime, date->endTime) || !index_->HasChannel(date->channel))
        return -1;
    const std::set<int> days =
        index_->Days(date->channel, Ms(date->startTime), Ms(date->endTime), date->fileType);
    dates->insert(dates->end(), days.begin(), days.end());
    return 0;
}

bool MediaFileDevice::IsCanSeek() {
    return true;
}

int MediaFileDevice::PreparePlayback(int channel, int /*streamNo*/, int beginTime, int endTime,
                                     int* out1, int* out2, std::string* out3) {
    *out1 = *out2 = 0;
    out3->clear();
    index_->RequireChannel(channel);
    const bool any = IsRange(beginTime, endTime) &&
                     !index_->Find(channel, Ms(beginTime), Ms(endTime), 0).empty();
    return any ? 0 : -1;
}

std::string MediaFileDevice::GetDevSessionId() {
    return sessionId_;
}

int MediaFileDevice::GetConnectType(int* type, std::string* text) {
    *type = kConnectedByFile;
    *text = "file";
    return 0;
}

int MediaFileDevice::DevTiming() {
    return 0;
}

int MediaFileDevice::GetDeviceTime(Json::Value* time) {
    const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::system_clock::now().time_since_epoch());
    (*time)["time"] = static_cast<Json::Int64>(now.count() / 1000);
    (*time)["text"] = TimeText(now.count());
    (*time)["timezone"] = "UTC";
    return 0;
}

int MediaFileDevice::GetCapability(__tagTvDeviceCapability* capability) {
    capability->supportTiming = 1;
    capability->supportSyncPlayback = 1;
    return 0;
}

int MediaFileDevice::GetDevicePermission(std::string* body) {
    Json::Value root;
    root["remote"] = Ones(std::size(__tagTvDevicePermission{}.remote));
    root["channels"] = Json::Value(Json::arrayValue);
    const int channels = static_cast<int>(index_->Channels().size());
    for (int i = 0; i < channels; ++i) {
        Json::Value channel;
        channel["channel"] = i;
        channel["flag"] = Ones(std::size(__tagTvChannelPermission{}.flag));
        root["channels"].append(std::move(channel));
    }
    *body = root.toStyledString();
    return 0;
}

int MediaFileDevice::SetChannelName(std::map<int, std::string> names) {
    const int channels = static_cast<int>(index_->Channels().size());
    for (const auto& [channel, name] : names) {
        if (channel < 0 || channel >= channels)
            return -1;
    }
    MutexLock lock(mutex_);
    names.merge(names_);
    names_.swap(names);
    return 0;
}

std::vector<std::string> MediaFileDevice::ChannelNames() {
    std::vector<std::string> names;
    for (const auto& folder : index_->Channels())
        names.push_back(folder.filename().string());
    MutexLock lock(mutex_);
    for (const auto& [channel, name] : names_) {
        if (static_cast<size_t>(channel) < names.size())
            names[static_cast<size_t>(channel)] = name;
    }
    return names;
}

int MediaFileDevice::Transmission(std::string uri, std::string request, std::string* body) {
    Json::Value answer;
    if (uri == "device")
        answer = DescribeDevice();
    else if (uri == "channels")
        answer = DescribeChannels();
    else if (uri == "ptz/position")
        answer = DescribePosition(request);
    const bool known = !answer.isNull();
    if (!known)
        answer["error"] = "unknown request";
    *body = answer.toStyledString();
    return known ? 0 : -1;
}

Json::Value MediaFileDevice::DescribeDevice() const {
    Json::Value device;
    device["name"] = index_->Root().filename().string();
    device["channelnum"] = static_cast<int>(index_->Channels().size());
    device["sessionId"] = sessionId_;
    return device;
}

Json::Value MediaFileDevice::DescribeChannels() {
    Json::Value list(Json::arrayValue);
    for (const std::string& name : ChannelNames()) {
        Json::Value channel;
        channel["channel"] = list.size();
        channel["name"] = name;
        list.append(std::move(channel));
    }
    Json::Value answer;
    answer["channels"] = std::move(list);
    return answer;
}

Json::Value MediaFileDevice::DescribePosition(const std::string& request) {
    Json::Value parameters;
    int channel = 0;
    if (ParseJson(request.c_str(), parameters))
        ReadInt(parameters, "channel", channel);
    const auto head = Head(channel);
    if (head == nullptr)
        return {};
    const PtzPosition position = head->Position();
    Json::Value answer;
    answer["pan"] = position.pan;
    answer["tilt"] = position.tilt;
    answer["zoom"] = position.zoom;
    return answer;
}

}  // namespace vms::mediafile
