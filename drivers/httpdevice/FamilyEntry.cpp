#include "drivers/httpdevice/HttpDeviceFactory.h"
#include "module/GetModuleInstance.h"
#include "module/IStreamModule.h"
#include "videodevice/VideoDeviceModule.h"

namespace {

/// The module and what it drives. No source may call the module once it is being destroyed, hence
/// the order.
struct Family {
    vms::httpdevice::HttpDeviceFactory factory;
    VideoDeviceModule module{&factory};

    ~Family() { factory.UnInit(); }
};

Family g_family;

}  // namespace

IModule* GetModuleInstance() {
    return &g_family.module;
}

/// The stream side of the same module. Any thread.
extern "C" __attribute__((visibility("default"))) IStreamModule* GetStreamModuleInstance();

IStreamModule* GetStreamModuleInstance() {
    return &g_family.module;
}
