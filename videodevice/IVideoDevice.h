#pragma once

#include <json/forwards.h>

#include <list>
#include <map>
#include <string>

#include "module/DeviceInfoRecords.h"
#include "module/PtzRecords.h"
#include "module/RecordSearchRecords.h"

/// Driver of one configured device, shared by the device table and the commands running on it.
/// Thread-safe: several bus workers call it at once, and the last of them may destroy it. Calls may
/// block for seconds. Which results count as success differs by operation and is stated there.
/// Slot order is part of the contract; the reserved slots belong to device families.
class IVideoDevice {
public:
    virtual ~IVideoDevice() = default;

    /// Appends the recordings of a range. @return >= 0 on success
    virtual int SearchRecord(__tagTvSearchRecordParam* param,
                             std::list<__tagTvRecordFile>* files) = 0;
    virtual int Reserved4() { return -1; }
    virtual bool IsCanSeek() = 0;
    /// The device's current session identifier; empty when not logged in.
    virtual std::string GetDevSessionId() = 0;
    virtual int Reserved7() { return -1; }
    virtual int Reserved8() { return -1; }
    /// @param names channel number to name. @return >= 0 on success
    virtual int SetChannelName(std::map<int, std::string> names) = 0;
    /// Sets the device's clock to the host's. @return 0 on success
    virtual int DevTiming() = 0;
    /// Appends the days that hold recordings, as yyyymmdd. @return 0 on success
    virtual int QueryRecordDate(__tagTvRecordDate* date, std::list<int>* dates) = 0;
    virtual int Reserved12() { return -1; }
    /// Called before a playback source is made when the device decides the stream type.
    virtual int PreparePlayback(int channel, int streamNo, int beginTime, int endTime, int* out1,
                                int* out2, std::string* out3) = 0;
    /// @param type must always be written
    virtual int GetConnectType(int* type, std::string* text) = 0;
    /// @param body the answer's body, written by the driver
    virtual int GetDevicePermission(std::string* body) = 0;
    virtual int GetDeviceTime(Json::Value* time) = 0;
    /// Passes a request through to the device. @param body the answer's body
    virtual int Transmission(std::string uri, std::string request, std::string* body) = 0;
    virtual int PtzGetCapability(__tagTvPtzCapability* capability) = 0;
    /// @return 0 on success
    virtual int GetCapability(__tagTvDeviceCapability* capability) = 0;

    // PTZ: >= 0 is success.
    virtual int PtzControl(__tagTvPtzParam* param) = 0;
    /// @return the speed, negative on failure
    virtual int PtzGetSpeed(int channel) = 0;
    virtual int PtzSetSpeed(int channel, int speed) = 0;
    virtual int PtzGetPreset(int channel, int* auto3DEnable, int* auto3DStatus,
                             std::list<__tagTvPtzPresetParam>* presets) = 0;
    virtual int PtzAddPreset(int channel, __tagTvPtzPresetParam* preset) = 0;
    virtual int PtzDelPreset(int channel, __tagTvPtzPresetParam* preset) = 0;
    virtual int PtzCallPreset(int channel, __tagTvPtzPresetParam* preset) = 0;
    /// @param cruiseIdx -1 when the request names none
    virtual int PtzGetCruise(int channel, int cruiseIdx, __tagTvPtzCruiseParam* cruise) = 0;
    virtual int PtzAddCruise(int channel, __tagTvPtzCruiseParam* cruise) = 0;
    virtual int PtzDelCruise(int channel, int cruiseIdx) = 0;
    virtual int PtzStartCruise(int channel, int cruiseIdx) = 0;
    virtual int PtzStopCruise(int channel, int cruiseIdx) = 0;
};
