#pragma once

#include <string>

#include "host/cli/Options.h"
#include "host/client/HostClient.h"

namespace vms::host {

/// --url, --token-file, --certificate and --insecure: where a running host is.
void AddHostOptions(Options& command, HostAccess& access);

/// A channel of a device, as commands that ask a running host name it.
struct ChannelOptions {
    std::string device;
    int channel = 0;
    int stream = 0;

    /// "/live/DEVICE/CHANNEL" and the like, encoded. @param kind "live", "play" or "download"
    std::string Path(const std::string& kind) const;
    /// "stream" unless it is the main one.
    HostClient::Query Query() const;
    /// Of the WebSocket at /stream.
    HostClient::Query StreamQuery() const;
};

/// --device, --channel and --stream.
void AddChannelOptions(Options& command, ChannelOptions& options);

/// The address of a live stream over WebSocket, the token included.
std::string StreamAddressOf(const HostClient& client, const ChannelOptions& options);

}  // namespace vms::host
