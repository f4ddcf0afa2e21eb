#pragma once

#include <cstdint>
#include <string>

/// Stream-server settings of a module's configuration, passed on to its device factory.
struct __tagTvStreamServerParam {
    std::string header;
    std::string port;  ///< a text, unlike the two ports below
    int32_t http_port = 0;
    int32_t rtsp_port = 0;
    std::string content;
};
