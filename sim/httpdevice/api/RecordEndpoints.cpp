#include <algorithm>
#include <charconv>
#include <limits>

#include "sim/httpdevice/api/Endpoints.h"

namespace vms::sim::httpdevice {

namespace {

constexpr int64_t kMaxItems = 4000;
constexpr int64_t kMaxPages = 1'000'000;
constexpr int kMaxMask = 0xffff;

Json::Value Describe(const Device& device, int stream) {
    const TrackPair tracks = device.Tracks(stream);
    Json::Value out(Json::objectValue);
    out["stream"] = stream;
    out["videoCodec"] = tracks.video->codec == 1 ? "H265" : "H264";
    out["width"] = tracks.video->width;
    out["height"] = tracks.video->height;
    out["frameRate"] = tracks.video->rate;
    out["bitRate"] = tracks.video->kilobitsPerSecond;
    if (tracks.audio != nullptr) {
        out["audioCodec"] = NameOf(device.config().audio);
        out["audioRate"] = tracks.audio->rate;
    }
    return out;
}

ApiAnswer Encodings(const Device& device, const ApiCall& call, int streams) {
    if (!call.IsGet())
        return ResultCode::kUnknownAction;
    const auto channel = ChannelOf(device, call);
    if (!channel)
        return ResultCode::kBadValue;
    Json::Value data(Json::objectValue);
    data["channel"] = *channel;
    data["streams"] = Json::arrayValue;
    for (int i = 0; i < streams; ++i)
        data["streams"].append(Describe(device, i));
    return data;
}

// Times travel as decimal texts.
std::optional<int64_t> Seconds(const Json::Value& data, const char* key) {
    const std::string text = Text(data, key);
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return std::clamp<int64_t>(value, 0, std::numeric_limits<int32_t>::max());
}

Json::Value Item(const RecordedPiece& piece, bool sizeAsText) {
    Json::Value out(Json::objectValue);
    out["fileType"] = piece.fileType;
    out["startTime"] = std::to_string(piece.start);
    out["endTime"] = std::to_string(piece.end);
    if (sizeAsText)
        out["fileSize"] = std::to_string(piece.bytes);
    else
        out["fileSize"] = Json::Int64{piece.bytes};
    return out;
}

Json::Value Items(const std::vector<RecordedPiece>& pieces, bool sizeAsText) {
    Json::Value list(Json::arrayValue);
    for (const RecordedPiece& piece : pieces)
        list.append(Item(piece, sizeAsText));
    return list;
}

struct SearchWindow {
    int64_t start;
    int64_t end;
    int fileType;
};

std::optional<SearchWindow> WindowOf(const ApiCall& call) {
    const auto start = Seconds(call.data(), "startTime");
    const auto end = Seconds(call.data(), "endTime");
    const auto type = Number(call.data(), "fileType", 0, kMaxMask, 0);
    if (!start || !end || !type)
        return std::nullopt;
    return SearchWindow{*start, *end, static_cast<int>(*type)};
}

// A full page of seconds that follow each other: there is always one more.
std::vector<RecordedPiece> EndlessPieces(int64_t start) {
    std::vector<RecordedPiece> pieces(static_cast<size_t>(kMaxItems));
    for (RecordedPiece& piece : pieces) {
        piece.start = start++;
        piece.end = start;
    }
    return pieces;
}

ApiAnswer CameraList(Device& device, const SearchWindow& window) {
    if (device.faults().Has(DeviceFault::kEndlessList))
        return Items(EndlessPieces(window.start), true);
    size_t total = 0;
    return Items(device.channel(0).timeline->Search(window.start, window.end, window.fileType, 0,
                                                    kMaxItems, total),
                 true);
}

ApiAnswer RecorderList(Device& device, const ApiCall& call, const SearchWindow& window) {
    const auto channel = ChannelOf(device, call);
    const auto stream = Number(call.data(), "streamNo", 0, device.StreamCount() - 1, 0);
    const auto page = Number(call.data(), "pageIndex", 0, kMaxPages, 0);
    const auto perPage = Number(call.data(), "pageItems", 1, kMaxItems, kMaxItems);
    if (!channel || !stream || !page || !perPage)
        return ResultCode::kBadValue;
    size_t total = 0;
    const bool endless = device.faults().Has(DeviceFault::kEndlessList);
    const auto recorded = device.channel(*channel).timeline->Search(
        window.start, window.end, window.fileType, static_cast<size_t>(*page * *perPage),
        static_cast<size_t>(*perPage), total);
    Json::Value data(Json::objectValue);
    data["itemList"] = Items(endless ? EndlessPieces(window.start) : recorded, false);
    data["pageIndex"] = Json::Int64{*page};
    data["pageItems"] = Json::Int64{*perPage};
    data["totalItems"] = Json::UInt64{total};
    return data;
}

}  // namespace

ApiAnswer RecordEncode(Device& device, const ApiCall& call) {
    return Encodings(device, call, 2);
}

ApiAnswer VideoEncode(Device& device, const ApiCall& call) {
    return Encodings(device, call, device.StreamCount());
}

ApiAnswer RecordList(Device& device, const ApiCall& call) {
    if (!call.IsGet())
        return ResultCode::kUnknownAction;
    const auto window = WindowOf(call);
    if (!window)
        return ResultCode::kBadValue;
    return device.config().recorder ? RecorderList(device, call, *window)
                                    : CameraList(device, *window);
}

ApiAnswer ManualAlarm(Device& device, const ApiCall& call) {
    const auto number = ChannelOf(device, call);
    if (!number)
        return ResultCode::kBadValue;
    Channel& channel = device.channel(*number);
    if (call.IsGet()) {
        Json::Value data(Json::objectValue);
        MutexLock lock(channel.mutex);
        for (const bool active : channel.alarms)
            data["outputs"].append(active);
        return data;
    }
    if (!call.IsSet())
        return ResultCode::kUnknownAction;
    const auto output = Number(call.data(), "output", 0, kAlarmOutputs - 1);
    const Json::Value& active = Member(call.data(), "active");
    if (!output || !active.isBool())
        return ResultCode::kBadValue;
    MutexLock lock(channel.mutex);
    channel.alarms[static_cast<size_t>(*output)] = active.asBool();
    return ResultCode::kDone;
}

}  // namespace vms::sim::httpdevice
