#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "module/DeviceRecords.h"
#include "module/Export.h"
#include "module/ICommandBus.h"
#include "module/IModule.h"
#include "onvif/OnvifImplement.h"
#include "platform/Mutex.h"
#include "platform/SysCommandHelper.h"

/// Configured ONVIF cameras: preview URLs, device test, a watch over their reachability, and
/// discovery. Plays no media itself: players open the camera's RTSP URL directly.
///
/// Handlers run on bus workers, several at once; they may block for seconds in SOAP exchanges. No
/// lock is held across an exchange. A device counts as reachable when it gives a stream URI.
class VMS_DEVICEACCESS_API OnvifModule final : public IModule {
public:
    OnvifModule() = default;
    ~OnvifModule();
    OnvifModule(const OnvifModule&) = delete;
    OnvifModule& operator=(const OnvifModule&) = delete;

    /// Registers the handlers and starts the status watch; a second call first ends the earlier
    /// watch. The configuration is ignored. @return false when the watch cannot be started
    bool Init(const char* name, const char* config) override;

    /// Ends the status watch, which it notices after its current pass and sleep (5 s). @return 0
    int UnInit() override;

    /// @return 0; the module paces itself
    int OnTimer() override;

    void SetCallback(ILogHandler* handler) override;

    // Bus handlers. The record belongs to the bus and is valid during the call; each is answered
    // once, SearchDevice page by page.

    /// Adds or replaces the listed devices. Answers 1 and "" always.
    void DevicesEnqueue(__tagTvCommand* command);
    /// Removes the listed devices; unknown ones are skipped. Answers 1 and "" always.
    void DevicesDequeue(__tagTvCommand* command);
    /// Answers -1 and "not support".
    void SearchRecord(__tagTvCommand* command);
    /// Answers with the stream description of a device's channel.
    /// @throws std::out_of_range, and answers nothing, for a known device that gives no URI
    void GetPreviewUrl(__tagTvCommand* command);
    /// Answers -1 and "not support".
    void GetPlaybackUrl(__tagTvCommand* command);
    /// Answers whether the device described in the body can be reached; it need not be configured.
    void DeviceTest(__tagTvCommand* command);
    /// Answers with a start page, a page per camera found, and an end page.
    void SearchDevice(__tagTvCommand* command);

    /// Body of the status thread.
    void CheckThread();

private:
    using DeviceTable = std::map<std::string, std::shared_ptr<__tagTvVideoParam>>;
    using StatusMap = std::map<std::string, std::map<int, int>>;

    void Register(__enumTvCommand id, void (OnvifModule::*handler)(__tagTvCommand*));
    void Answer(const __tagTvCommand* command, int result, const std::string& body);
    bool IsReachable(const __tagTvVideoParam& device);
    std::shared_ptr<__tagTvVideoParam> FindDevice(const std::string& id) VMS_EXCLUDES(deviceMutex_);
    DeviceTable CopyDevices() VMS_EXCLUDES(deviceMutex_);
    void RunStatusPass();

    // Written by Init, constant while handlers and the status thread run.
    std::string name_;
    ICommandBus* bus_ = nullptr;

    // Stateless.
    SysCommandHelper commandHelper_;
    OnvifImplement onvif_;

    vms::Mutex deviceMutex_;
    DeviceTable devices_ VMS_GUARDED_BY(deviceMutex_);

    std::thread statusThread_;
    std::atomic<bool> stop_{false};
};

/// The module that GetModuleInstance returns.
extern VMS_DEVICEACCESS_API OnvifModule g_OnvifModule;
