#include "tests/drivers/mediafile/UnitRecorder.h"

#include <cstring>
#include <thread>

namespace vms::mediafile {
namespace {

constexpr std::chrono::minutes kDeadline{1};

template <class T>
T Get(const char* data, int offset) {
    T value;
    std::memcpy(&value, data + offset, sizeof value);
    return value;
}

}  // namespace

Unit ParseUnit(const std::string& key, const char* data, int length) {
    Unit unit;
    unit.key = key;
    if (length < 32)
        return unit;
    const auto flags = Get<uint32_t>(data, 4);
    unit.type = flags & 3;
    unit.frameType = (flags >> 2) & 0x1f;
    unit.length = (flags >> 7) & 0x3fffff;
    unit.videoCodec = Get<uint8_t>(data, 9);
    unit.audioCodec = Get<uint8_t>(data, 10);
    unit.serial = Get<uint32_t>(data, 12);
    unit.timestamp = Get<uint32_t>(data, 16);
    unit.width = Get<uint16_t>(data, 20);
    unit.height = Get<uint16_t>(data, 22);
    unit.rate = Get<uint16_t>(data, 24);
    unit.payload.assign(data + 32, data + length);
    return unit;
}

int UnitRecorder::SteramCallback(std::string key, char* data, int length) {
    Unit unit = ParseUnit(key, data, length);
    if (note_)
        unit.note = note_(unit);
    MutexLock lock(mutex_);
    units_.push_back(std::move(unit));
    changed_.NotifyAll();
    return 0;
}

int UnitRecorder::MsgCallback(std::string /*key*/, const char* message) {
    MutexLock lock(mutex_);
    messages_.emplace_back(message);
    changed_.NotifyAll();
    return 0;
}

void UnitRecorder::UpdateKeyFrame(std::string key, char* data, int length) {
    MutexLock lock(mutex_);
    keyFrames_.push_back(ParseUnit(key, data, length));
}

int UnitRecorder::QueryDataCountToSend(std::string /*key*/) {
    MutexLock lock(mutex_);
    ++queries_;
    changed_.NotifyAll();
    return queued_;
}

void UnitRecorder::SetQueued(int count) {
    MutexLock lock(mutex_);
    queued_ = count;
}

UnitRecorder::Units UnitRecorder::All() {
    MutexLock lock(mutex_);
    return units_;
}

std::vector<std::string> UnitRecorder::Messages() {
    MutexLock lock(mutex_);
    return messages_;
}

std::vector<Unit> UnitRecorder::KeyFrames() {
    MutexLock lock(mutex_);
    return keyFrames_;
}

int UnitRecorder::Queries() {
    MutexLock lock(mutex_);
    return queries_;
}

bool UnitRecorder::WaitChange(TimePoint deadline) {
    changed_.WaitUntil(mutex_, deadline);
    return std::chrono::steady_clock::now() < deadline;
}

bool UnitRecorder::WaitUnits(const std::function<bool(const Units&)>& enough) {
    const TimePoint deadline = std::chrono::steady_clock::now() + kDeadline;
    MutexLock lock(mutex_);
    while (!enough(units_)) {
        if (!WaitChange(deadline))
            return false;
    }
    return true;
}

bool UnitRecorder::WaitCount(size_t count) {
    return WaitUnits([count](const Units& units) { return units.size() >= count; });
}

bool UnitRecorder::WaitMessage(const std::string& message, size_t count) {
    const TimePoint deadline = std::chrono::steady_clock::now() + kDeadline;
    MutexLock lock(mutex_);
    while (messages_.size() < count) {
        if (!WaitChange(deadline))
            return false;
    }
    return messages_[count - 1] == message;
}

bool UnitRecorder::WaitQueries(int count) {
    const TimePoint deadline = std::chrono::steady_clock::now() + kDeadline;
    MutexLock lock(mutex_);
    while (queries_ < count) {
        if (!WaitChange(deadline))
            return false;
    }
    return true;
}

bool Eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace vms::mediafile
