#pragma once

#include <cstdint>
#include <string>

/// Identity of a device. Members are named as their JSON keys.
struct __tagTvDeviceParam {
    std::string id;      ///< key of the device tables; never empty in a table
    std::string name;    ///< display name, carried
    std::string uctype;  ///< type text, carried
    int32_t devtype = 0;
    int32_t ptype = 0;
    int32_t channelnum = 0;
    int32_t status = 0;
};

/// A configured device: what DevicesEnqueue carries and drivers are built from.
struct __tagTvVideoParam : __tagTvDeviceParam {
    std::string ip;            ///< address or host name
    int32_t port = 0;          ///< device service port, 1..65535; 0 = not set
    int32_t httpPort = 0;      ///< carried
    std::string username;      ///< login name, may be empty
    std::string password;      ///< login password, may be empty
    int32_t streamType = 0;    ///< carried
    int32_t connectType = 0;   ///< carried
    bool p2p = false;          ///< carried
    int32_t enable = 1;        ///< carried; set unless a description says otherwise
    bool httpsEnable = false;  ///< HTTPS and secure WebSocket towards the device
};

/// A device found by a search or described by a device test.
struct __tagTvSearchDeviceParam {
    std::string name;
    int32_t devtype = 0;
    int32_t ptype = 0;
    std::string uctype;
    std::string ip;
    int32_t port = 0;
    std::string mac;
    std::string ver;
    int32_t channelnum = 0;
    std::string spare1;  ///< not serialised
    std::string spare2;  ///< not serialised
    std::string sn;
};
