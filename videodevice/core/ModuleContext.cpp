#include "videodevice/core/ModuleContext.h"

#include <ctime>
#include <utility>

#include "platform/IStreamConnectionController.h"

namespace vms {
namespace {

int64_t SystemSeconds() {
    return std::time(nullptr);
}

}  // namespace

ModuleContext::ModuleContext(VideoDeviceModule& owner, IStreamCallback& callback,
                             IVideoDeviceFactory& family, Clock clock)
    : module(owner),
      sink(callback),
      factory(family),
      now(clock ? std::move(clock) : SystemSeconds) {}

std::optional<ServerAddress> ModuleContext::StreamServer() const {
    IStreamConnectionController* const service = controller;
    if (service == nullptr)
        return std::nullopt;
    ServerAddress address;
    service->GetServerAddress(address.host, address.port);
    return address;
}

}  // namespace vms
