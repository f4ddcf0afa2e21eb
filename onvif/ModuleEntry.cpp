#include "module/GetModuleInstance.h"
#include "onvif/OnvifModule.h"

OnvifModule g_OnvifModule;

IModule* GetModuleInstance() {
    return &g_OnvifModule;
}
