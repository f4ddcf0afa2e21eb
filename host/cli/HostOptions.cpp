#include "host/cli/HostOptions.h"

#include "host/text/PercentText.h"

namespace vms::host {
namespace {

constexpr int kHighest = 65535;

}  // namespace

void AddHostOptions(Options& command, HostAccess& access) {
    command.Text("--url", access.url,
                 "Address of the running host (default: VMS_URL, else http://127.0.0.1:8080)");
    command.Text("--token-file", access.tokenFile,
                 "File with the token in its first line (default: the text of VMS_TOKEN)");
    command.Text("--fingerprint", access.trust.fingerprint,
                 "SHA-256 of the certificate that an https host must show, as it prints it");
    command.Flag("--insecure", access.trust.isInsecure,
                 "Trust whatever certificate the host shows");
}

std::string ChannelOptions::Path(const std::string& kind) const {
    return "/" + kind + "/" + PercentEncode(device) + "/" + std::to_string(channel);
}

HostClient::Query ChannelOptions::Query() const {
    return stream == 0 ? HostClient::Query{}
                       : HostClient::Query{{"stream", std::to_string(stream)}};
}

HostClient::Query ChannelOptions::StreamQuery() const {
    HostClient::Query query = Query();
    query["device"] = device;
    query["channel"] = std::to_string(channel);
    return query;
}

void AddChannelOptions(Options& command, ChannelOptions& options) {
    command.RequiredText("--device", options.device, "Identifier of the device");
    command.Integer("--channel", options.channel, "Channel, counted from 0 (default: 0)", 0,
                    kHighest);
    command.Integer("--stream", options.stream, "0 = main (default), 1 = sub", 0, kHighest);
}

std::string StreamAddressOf(const HostClient& client, const ChannelOptions& options) {
    HostClient::Query query = options.StreamQuery();
    if (!client.Token().empty())
        query["token"] = client.Token();
    return client.Address("ws", "/stream", query);
}

}  // namespace vms::host
