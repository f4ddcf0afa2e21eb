#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "module/StreamServerParam.h"
#include "videodevice/Clock.h"

class ICommandBus;
class IStreamCallback;
class IStreamConnectionController;
class IVideoDeviceFactory;
class VideoDeviceModule;

namespace vms {

/// Stream types of the configuration, handed to the factory as they are.
struct StreamTypes {
    std::atomic<int32_t> playback{-1};  ///< negative: the device decides
    std::atomic<int32_t> preview{-1};
    std::atomic<int32_t> download{0};
};

/// Where players reach the host's stream server.
struct ServerAddress {
    std::string host;
    int port = 0;
};

/// What all parts of one module share. Nothing here is owned.
struct ModuleContext {
    ModuleContext(VideoDeviceModule& owner, IStreamCallback& callback, IVideoDeviceFactory& family,
                  Clock clock);  // empty: the system's

    /// Empty while the host has set no stream connection service.
    std::optional<ServerAddress> StreamServer() const;

    // Constant.
    VideoDeviceModule& module;
    IStreamCallback& sink;  ///< the module as the sources see it
    IVideoDeviceFactory& factory;
    const Clock now;

    // Written by Init before the first handler is registered.
    std::string name;
    ICommandBus* bus = nullptr;
    __tagTvStreamServerParam server;  ///< a factory may keep its address

    StreamTypes streamTypes;
    std::atomic<IStreamConnectionController*> controller{nullptr};
};

}  // namespace vms
