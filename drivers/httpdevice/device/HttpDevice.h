#pragma once

#include <json/forwards.h>

#include <list>
#include <map>
#include <memory>
#include <string>

#include "drivers/httpdevice/device/DeviceProfile.h"
#include "drivers/httpdevice/device/PtzRequest.h"
#include "drivers/httpdevice/session/DeviceConnection.h"
#include "platform/Mutex.h"
#include "videodevice/IVideoDevice.h"

namespace vms::httpdevice {

/// A camera or recorder behind its HTTP/JSON API. Every operation is one request or a few; with a
/// device that is known to be down it fails at once. Thread-safe.
class HttpDevice final : public IVideoDevice {
public:
    explicit HttpDevice(std::shared_ptr<DeviceConnection> connection);

    const std::shared_ptr<DeviceConnection>& Connection() const { return connection_; }

    /// What the device is and can do; asked for once per login.
    /// @return null when it does not say
    std::shared_ptr<const DeviceProfile> Profile() VMS_EXCLUDES(mutex_);

    /// The audio codec code of talk, if it has been asked for already; otherwise 0.
    int KnownTalkEncode() VMS_EXCLUDES(mutex_);

    int SearchRecord(__tagTvSearchRecordParam* param, std::list<__tagTvRecordFile>* files) override;
    bool IsCanSeek() override;
    /// Right after the device was added, waits until the first login has ended.
    std::string GetDevSessionId() override;
    /// @return -1 when the device takes one of the names not; those before it are set
    int SetChannelName(std::map<int, std::string> names) override;
    int DevTiming() override;
    int QueryRecordDate(__tagTvRecordDate* date, std::list<int>* dates) override;
    /// Tells how the channel is recorded: width, height and codec name.
    /// @throws std::runtime_error as DeviceConnection::RequireChannel does
    int PreparePlayback(int channel, int streamNo, int beginTime, int endTime, int* out1, int* out2,
                        std::string* out3) override;
    int GetConnectType(int* type, std::string* text) override;
    int GetDevicePermission(std::string* body) override;
    int GetDeviceTime(Json::Value* time) override;
    /// A path of the device's API, or "device", "channels", "manual-alarm", "ptz/position".
    int Transmission(std::string uri, std::string request, std::string* body) override;
    int PtzGetCapability(__tagTvPtzCapability* capability) override;
    int GetCapability(__tagTvDeviceCapability* capability) override VMS_EXCLUDES(mutex_);

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
    std::shared_ptr<const DeviceProfile> RefreshProfile() VMS_EXCLUDES(mutex_);
    int Find(const __tagTvSearchRecordParam& query, std::list<__tagTvRecordFile>& files);
    bool Get(const std::string& url, const Json::Value& parameters, Json::Value& data);

    bool Send(const PtzRequest& request);
    bool Ask(const PtzRequest& request, Json::Value& data);
    int SendPreset(int channel, const char* operation, const __tagTvPtzPresetParam& preset);
    int SendCruise(int channel, const char* operation, int cruiseIdx);
    bool AskCruises(int channel, int cruiseIdx, Json::Value& data);

    const std::shared_ptr<DeviceConnection> connection_;

    Mutex mutex_;
    std::shared_ptr<const DeviceProfile> profile_ VMS_GUARDED_BY(mutex_);
    std::string profileSession_ VMS_GUARDED_BY(mutex_);  ///< session in which it was asked for
};

}  // namespace vms::httpdevice
