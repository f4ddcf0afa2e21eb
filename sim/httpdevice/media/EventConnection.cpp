#include "sim/httpdevice/media/EventConnection.h"

#include <algorithm>
#include <chrono>

#include "sim/httpdevice/api/Json.h"
#include "sim/httpdevice/media/FrameHeader.h"
#include "sim/httpdevice/media/MediaConnection.h"
#include "sim/process/JsonLine.h"

namespace vms::sim::httpdevice {

namespace {

constexpr int kFaceFound = 4;
constexpr int kFaceCompared = 5;
constexpr size_t kMaxQueued = 1024 * 1024;
constexpr std::chrono::milliseconds kShortest{1};
constexpr std::chrono::milliseconds kLongest{250};

int64_t EpochMs() {
    using std::chrono::system_clock;
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               system_clock::now().time_since_epoch())
        .count();
}

// A face that walks through the picture; everything follows from its number.
Json::Value Face(uint32_t number, int channel, int64_t time, int type) {
    Json::Value out(Json::objectValue);
    out["channel"] = channel;
    out["faceId"] = number;
    out["time"] = Json::Int64{time};
    out["rect"]["x"] = number * 700 % 8000;
    out["rect"]["y"] = 2000 + number * 300 % 4000;
    out["rect"]["width"] = 1200;
    out["rect"]["height"] = 1600;
    if (type == kFaceCompared) {
        out["similarity"] = 60 + number * 7 % 40;
        out["name"] = "Person " + std::to_string(number % 5);
    }
    return out;
}

}  // namespace

EventConnection::EventConnection(Device& device) : device_(device) {}

ResultCode EventConnection::Subscribe(Clock::time_point now, const ActionRequest& request) {
    if (const ResultCode code = device_.Admit(request.token, true); code != ResultCode::kDone)
        return code;
    const Json::Value& types = Member(Member(request.data, "subscription"), "packet_types");
    if (!types.isArray())
        return ResultCode::kBadValue;
    types_.clear();
    for (const Json::Value& type : types) {
        if (type == kFaceFound || type == kFaceCompared)
            types_.push_back(type.asInt());
        if (types_.size() == 2)
            break;
    }
    token_ = request.token;
    nextPacket_ = now;
    return ResultCode::kDone;
}

void EventConnection::OnText(Clock::time_point now, std::string_view text, Batch& batch) {
    const ActionRequest request = ReadAction(text);
    device_.stats().Count("events:" + request.action);
    ResultCode code = ResultCode::kUnknownAction;
    if (request.action == "start")
        code = Subscribe(now, request);
    else if (request.action.empty())
        code = ResultCode::kBadBody;
    else if (request.action == "stop") {
        token_.clear();
        code = ResultCode::kDone;
    }
    batch.messages.push_back(ActionAnswer(request.action, code));
    if (EndsConnection(code))
        batch.end = Batch::End::kClose;
}

OutMessage EventConnection::Packet(int type) {
    const int channel = static_cast<int>(serial_) % device_.config().channels;
    const int64_t time = EpochMs();
    auto payload = std::make_shared<std::string>(JsonLine(Face(serial_, channel, time, type)));
    EventHeader header;
    if (device_.faults().Has(DeviceFault::kBadSignature))
        header.signature = 0x5A5A;
    header.type = static_cast<uint16_t>(type);
    header.payloadLength = static_cast<uint32_t>(payload->size());
    header.serial = serial_++;
    header.timestamp = static_cast<uint64_t>(time);
    header.channel = static_cast<uint32_t>(channel);
    OutMessage message;
    message.head = Write(header);
    if (device_.faults().Has(DeviceFault::kShortEvents))
        message.head.resize(EventHeader::kSize - 1);
    else
        message.payload = std::move(payload);
    return message;
}

void EventConnection::SendPackets(Batch& batch) {
    for (const int type : types_) {
        batch.messages.push_back(Packet(type));
        device_.stats().CountFrame();
    }
    if (device_.faults().TakeOne(DeviceFault::kEventsDrop))
        batch.end = Batch::End::kAbort;
}

void EventConnection::OnTick(Clock::time_point now, size_t queued, Batch& batch) {
    if (token_.empty())
        return;
    if (device_.sessions().Check(now, token_, false) != ResultCode::kDone) {
        batch.messages.push_back(EndMessage(ResultCode::kSessionExpired, "session"));
        batch.end = Batch::End::kClose;
        token_.clear();
        return;
    }
    if (now < nextPacket_)
        return;
    nextPacket_ = now + std::chrono::milliseconds(device_.config().faceIntervalMs);
    if (queued < kMaxQueued)
        SendPackets(batch);
}

Clock::time_point EventConnection::NextTick(Clock::time_point now) const {
    const auto due = token_.empty() ? now + kLongest : nextPacket_;
    return std::clamp(due, now + kShortest, now + kLongest);
}

std::unique_ptr<ConnectionLogic> MakeLogic(Device& device, std::string_view path) {
    if (path == "/")
        return std::make_unique<MediaConnection>(device);
    if (path == "/events")
        return std::make_unique<EventConnection>(device);
    return nullptr;
}

}  // namespace vms::sim::httpdevice
