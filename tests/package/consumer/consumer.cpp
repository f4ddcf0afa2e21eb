#include <cstdio>

#include "module/GetModuleInstance.h"
#include "module/IModule.h"
#include "onvif/OnvifDeviceSearch.h"
#include "onvif/OnvifModule.h"
#include "platform/CreateCommandBusInstance.h"

int main() {
    std::string ip;
    int port = 0;
    const bool parsed = OnvifDeviceSearch().GetIpAndPort(
                            "http://10.0.0.5:8080/onvif/device_service", ip, port) == 0;
    const bool same = GetModuleInstance() == static_cast<IModule*>(&g_OnvifModule);
    std::printf("%s %d\n", ip.c_str(), port);
    return parsed && same && port == 8080 && CreateCommandBusInstance() != nullptr ? 0 : 1;
}
