#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/Mutex.h"
#include "videodevice/IStreamCallback.h"

namespace vms::mediafile {

/// A media unit as a player would read it.
struct Unit {
    std::string key;
    unsigned type = 0;       ///< 0 video, 1 audio, 3 face
    unsigned frameType = 0;  ///< 1 key picture
    unsigned length = 0;     ///< as the header tells
    unsigned videoCodec = 0;
    unsigned audioCodec = 0;
    uint32_t serial = 0;
    uint32_t timestamp = 0;
    unsigned width = 0;
    unsigned height = 0;
    unsigned rate = 0;
    std::string payload;
    int64_t note = 0;  ///< what the note function said when it came

    bool IsVideo() const { return type == 0; }
    bool IsKey() const { return type == 0 && frameType == 1; }
};

Unit ParseUnit(const std::string& key, const char* data, int length);

/// A sink that keeps everything; waits have a deadline of a minute.
class UnitRecorder final : public IStreamCallback {
public:
    using Units = std::vector<Unit>;

    int SteramCallback(std::string key, char* data, int length) override VMS_EXCLUDES(mutex_);
    int MsgCallback(std::string key, const char* message) override VMS_EXCLUDES(mutex_);
    void UpdateKeyFrame(std::string key, char* data, int length) override VMS_EXCLUDES(mutex_);
    int QueryDataCountToSend(std::string key) override VMS_EXCLUDES(mutex_);

    /// Called with every unit, outside the lock, before it is kept.
    void OnUnit(std::function<int64_t(const Unit&)> note) { note_ = std::move(note); }
    void SetQueued(int count) VMS_EXCLUDES(mutex_);

    Units All() VMS_EXCLUDES(mutex_);
    std::vector<std::string> Messages() VMS_EXCLUDES(mutex_);
    std::vector<Unit> KeyFrames() VMS_EXCLUDES(mutex_);
    int Queries() VMS_EXCLUDES(mutex_);
    size_t Count() { return All().size(); }

    /// Each returns whether it came true in time. Conditions must not call the recorder.
    bool WaitUnits(const std::function<bool(const Units&)>& enough) VMS_EXCLUDES(mutex_);
    bool WaitCount(size_t count);
    /// The `count`th message, counted from 1, is this one.
    bool WaitMessage(const std::string& message, size_t count = 1) VMS_EXCLUDES(mutex_);
    bool WaitQueries(int count) VMS_EXCLUDES(mutex_);

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Waits for a change. @return false once the deadline has passed
    bool WaitChange(TimePoint deadline) VMS_REQUIRES(mutex_);

    std::function<int64_t(const Unit&)> note_;
    Mutex mutex_;
    CondVar changed_;
    Units units_ VMS_GUARDED_BY(mutex_);
    Units keyFrames_ VMS_GUARDED_BY(mutex_);
    std::vector<std::string> messages_ VMS_GUARDED_BY(mutex_);
    int queued_ VMS_GUARDED_BY(mutex_) = 0;
    int queries_ VMS_GUARDED_BY(mutex_) = 0;
};

/// Waits for a condition that nobody announces. @return whether it came true within a minute
bool Eventually(const std::function<bool()>& condition);

}  // namespace vms::mediafile
