#pragma once

#include <functional>
#include <string>

#include "module/DeviceRecords.h"
#include "module/Export.h"

/// Finds ONVIF cameras with WS-Discovery (2005/04, UDP port 3702): one multicast Probe for network
/// video transmitters from every local address in turn. An object serves one search at a time;
/// several objects may search at once.
class VMS_DEVICEACCESS_API OnvifDeviceSearch {
public:
    /// Called for each camera as it answers, on the thread that called start. The record is valid
    /// during the call; the second argument is null. It must not throw.
    using Callback = std::function<void(__tagTvSearchDeviceParam*, void*)>;

    /// @param ipv6 probe ff02::c and read IPv6 addresses only
    explicit OnvifDeviceSearch(bool ipv6 = false);

    /// Probes from every local address; blocks until each network has been silent for a second, at
    /// most 60 s per address. A camera seen on two networks is reported twice. The user pointer is
    /// not used. @return 0
    int start(Callback callback, void* user);

    /// Does nothing: a search ends by itself.
    void stop();

    /// One probe from one local address (dotted IPv4, or IPv6). @return 0
    int SearchDevice(Callback callback, const char* localAddress);

    /// Sets `name` to the name scope in a blank-separated scopes text, still percent-encoded;
    /// leaves it alone when there is none. @return -1 always
    int GetDeviceName(const char* scopes, std::string& name);

    /// Address and port (80 when absent) of the first of a blank-separated list of addresses, in
    /// IPv6 mode of the last.
    /// @return 0, or -1 for a text that is not of the expected form
    int GetIpAndPort(const char* xaddrs, std::string& ip, int& port);

private:
    bool ipv6_;
};
