#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>

#include <memory>
#include <string>

#include "host/players/rtsp/RtspTransport.h"

namespace vms::host {

/// A port for media, even, and the next one for RTCP, each connected to its counterpart at one
/// player: nobody else is sent anything or heard. Of one I/O thread, except for the descriptors.
class UdpPair {
public:
    using Socket = boost::asio::ip::udp::socket;

    /// @param peer numeric address @return null when there are none to be had
    static std::unique_ptr<UdpPair> Open(boost::asio::io_context& context, const std::string& peer,
                                         const RtspTransport& transport);

    UdpPair(const UdpPair&) = delete;
    UdpPair& operator=(const UdpPair&) = delete;

    /// Of the media; the next one is that for RTCP.
    int Port() const { return port_; }
    Socket& Media() { return media_; }
    Socket& Control() { return control_; }

private:
    explicit UdpPair(boost::asio::io_context& context) : media_(context), control_(context) {}

    bool Bind(const boost::asio::ip::udp& protocol);

    Socket media_;
    Socket control_;
    int port_ = 0;
};

}  // namespace vms::host
