#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "host/cli/Commands.h"
#include "host/cli/HostOptions.h"
#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "host/text/Output.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

struct ViewOptions {
    HostAccess host;
    ChannelOptions channel;
    std::string from;
    std::string to;
    bool open = false;
    bool json = false;
};

using Addresses = std::vector<std::pair<std::string, std::string>>;  // what it is, and the address

/// "rtsp://host:port", "" = the host has no RTSP.
std::string RtspBase(HostClient& client) {
    const Json::Value about = client.Get("/api/host");
    int port = 0;
    ReadInt(Member(about, "rtsp"), "port", port);
    return port == 0 ? std::string() : "rtsp://" + client.HostName() + ":" + std::to_string(port);
}

Addresses LiveAddresses(HostClient& client, const ChannelOptions& channel) {
    const std::string path = channel.Path("live");
    const HostClient::Query query = channel.Query();
    Addresses list{{"ts", client.Address("http", path + ".ts", query)},
                   {"mp4", client.Address("http", path + ".mp4", query)},
                   {"jpg", client.Address("http", path + ".jpg", query)},
                   {"websocket", client.Address("ws", "/stream", channel.StreamQuery())}};
    if (const std::string rtsp = RtspBase(client); !rtsp.empty())
        list.insert(list.begin(), {"rtsp", rtsp + path + HostClient::QueryText(query)});
    return list;
}

Addresses RecordedAddresses(HostClient& client, const ViewOptions& options) {
    HostClient::Query query = options.channel.Query();
    query["from"] = options.from;
    if (!options.to.empty())
        query["to"] = options.to;
    const std::string path = options.channel.Path("play");
    Addresses list{{"ts", client.Address("http", path + ".ts", query)},
                   {"mp4", client.Address("http", path + ".mp4", query)}};
    if (!options.to.empty())
        list.emplace_back("download",
                          client.Address("http", options.channel.Path("download") + ".mp4", query));
    if (const std::string rtsp = RtspBase(client); !rtsp.empty())
        list.insert(list.begin(), {"rtsp", rtsp + path + HostClient::QueryText(query)});
    return list;
}

void Print(const Addresses& addresses, bool json) {
    Json::Value text(Json::objectValue);
    for (const auto& [name, address] : addresses) {
        text[name] = address;
        if (!json)
            PrintLine(name + std::string(10 - name.size(), ' ') + address);
    }
    if (json)
        PrintLine(CompactJson(text));
}

std::string Find(const Addresses& addresses, const std::string& name) {
    for (const auto& [kind, address] : addresses) {
        if (kind == name)
            return address;
    }
    return "";
}

/// This process becomes the player, the first that is installed.
[[noreturn]] void Open(const Addresses& addresses) {
    const std::string mp4 = Find(addresses, "mp4");
    std::vector<std::vector<std::string>> players{
        {"ffplay", "-loglevel", "warning", "-fflags", "nobuffer", "-flags", "low_delay", mp4},
        {"mpv", "--profile=low-latency", mp4}};
    for (std::vector<std::string>& player : players) {
        std::vector<char*> arguments;
        for (std::string& argument : player)
            arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        execvp(arguments.front(), arguments.data());
        if (errno != ENOENT)
            throw HostError("cannot start " + player.front() + ": " + std::strerror(errno));
    }
    throw HostError("neither ffplay nor mpv is installed");
}

int RunView(const ViewOptions& options) {
    HostClient client(options.host);
    const Addresses addresses = options.from.empty() ? LiveAddresses(client, options.channel)
                                                     : RecordedAddresses(client, options);
    Print(addresses, options.json);
    if (options.open)
        Open(addresses);
    return 0;
}

}  // namespace

void AddView(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<ViewOptions>();
    const CommandInfo info{
        .name = "view",
        .description = "Print the addresses at which a running host gives a stream to players",
        .example = "vmshost view --device hall --open"};
    Options command =
        AddCommand(app, invocation, info, [options](Host&) { return RunView(*options); });
    AddChannelOptions(command, options->channel);
    command.Text("--from", options->from,
                 "Of a recording from then on: ISO 8601, or seconds since the epoch");
    command.Text("--to", options->to, "Up to then");
    command.Flag("--open", options->open, "Start ffplay or mpv on it");
    command.Flag("--json", options->json, "Print one line of JSON");
    AddHostOptions(command, options->host);
}

}  // namespace vms::host
