#pragma once

#include <json/forwards.h>

#include <list>
#include <map>
#include <memory>
#include <string>

#include "drivers/mediafile/device/PtzHead.h"
#include "media/recording/RecordingIndex.h"
#include "platform/Mutex.h"
#include "videodevice/IVideoDevice.h"

namespace vms::mediafile {

/// A recorder that is a folder. Everything about recordings is read from the disk when asked; names
/// and heads are kept in memory, as long as the driver lives. Thread-safe.
class MediaFileDevice final : public IVideoDevice {
public:
    /// Touches no file.
    explicit MediaFileDevice(std::shared_ptr<const RecordingIndex> index);

    const std::shared_ptr<const RecordingIndex>& Index() const { return index_; }

    int SearchRecord(__tagTvSearchRecordParam* param, std::list<__tagTvRecordFile>* files) override;
    bool IsCanSeek() override;
    std::string GetDevSessionId() override;
    /// @return -1 when one of the channels does not exist; none is renamed then
    int SetChannelName(std::map<int, std::string> names) override VMS_EXCLUDES(mutex_);
    /// The device has the host's clock: always 0.
    int DevTiming() override;
    int QueryRecordDate(__tagTvRecordDate* date, std::list<int>* dates) override;
    /// @return whether there is anything to play (0) or not (-1); the outputs are set to 0 and ""
    int PreparePlayback(int channel, int streamNo, int beginTime, int endTime, int* out1, int* out2,
                        std::string* out3) override;
    int GetConnectType(int* type, std::string* text) override;
    int GetDevicePermission(std::string* body) override;
    int GetDeviceTime(Json::Value* time) override;
    /// Answers "device", "channels" and "ptz/position" ({"channel"}); -1 and {"error"} for others.
    int Transmission(std::string uri, std::string request, std::string* body) override;
    int GetCapability(__tagTvDeviceCapability* capability) override;

    int PtzGetCapability(__tagTvPtzCapability* capability) override;
    int PtzControl(__tagTvPtzParam* param) override;
    int PtzGetSpeed(int channel) override;
    int PtzSetSpeed(int channel, int speed) override;
    int PtzGetPreset(int channel, int* auto3DEnable, int* auto3DStatus,
                     std::list<__tagTvPtzPresetParam>* presets) override;
    int PtzAddPreset(int channel, __tagTvPtzPresetParam* preset) override;
    int PtzDelPreset(int channel, __tagTvPtzPresetParam* preset) override;
    int PtzCallPreset(int channel, __tagTvPtzPresetParam* preset) override;
    int PtzGetCruise(int channel, int cruiseIdx, __tagTvPtzCruiseParam* cruise) override;
    int PtzAddCruise(int channel, __tagTvPtzCruiseParam* cruise) override;
    int PtzDelCruise(int channel, int cruiseIdx) override;
    int PtzStartCruise(int channel, int cruiseIdx) override;
    int PtzStopCruise(int channel, int cruiseIdx) override;

private:
    /// @return null for a channel that does not exist
    std::shared_ptr<PtzHead> Head(int channel) VMS_EXCLUDES(mutex_);
    /// Given names, or the names of the folders; in order of channels.
    std::vector<std::string> ChannelNames() VMS_EXCLUDES(mutex_);
    Json::Value DescribeDevice() const;
    Json::Value DescribeChannels();
    Json::Value DescribePosition(const std::string& request);

    const std::shared_ptr<const RecordingIndex> index_;
    const std::string sessionId_;

    Mutex mutex_;
    std::map<int, std::string> names_ VMS_GUARDED_BY(mutex_);
    std::map<int, std::shared_ptr<PtzHead>> heads_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::mediafile
