#pragma once

#include "module/GetModuleInstance.h"
#include "module/IStreamModule.h"
#include "videodevice/VideoDeviceModule.h"

namespace vms {

/// A family's module and what it drives. No source may call the module once it is being destroyed,
/// hence the order.
template <class Factory>
struct Family {
    Factory factory;
    VideoDeviceModule module{&factory};

    ~Family() { factory.UnInit(); }
};

}  // namespace vms

/// The stream side of the module that GetModuleInstance gives. Any thread.
extern "C" __attribute__((visibility("default"))) IStreamModule* GetStreamModuleInstance();

/// Defines the two entry points of a family's library; once, outside of any namespace.
#define VMS_DEVICE_FAMILY(Factory)             \
    static ::vms::Family<Factory> g_family;    \
    IModule* GetModuleInstance() {             \
        return &g_family.module;               \
    }                                          \
    IStreamModule* GetStreamModuleInstance() { \
        return &g_family.module;               \
    }
