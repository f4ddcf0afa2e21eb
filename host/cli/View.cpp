#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <string_view>
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
    std::string signedFor;
    bool open = false;
    bool json = false;
};

/// One way to the stream.
struct Address {
    std::string name;  ///< such as "mp4"
    std::string base;  ///< such as "https://host:8080"
    std::string path;  ///< with its query

    std::string Text() const { return base + path; }
};
using Addresses = std::vector<Address>;

/// "90", "90s", "15m", "12h" or "7d", in seconds.
int ReadDuration(const std::string& text) {
    static constexpr std::pair<char, int> kUnits[] = {
        {'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86'400}};
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const std::string_view unit(end, static_cast<size_t>(text.data() + text.size() - end));
    constexpr int kMostDays = 3650;
    for (const auto& [letter, seconds] : kUnits) {
        if (error == std::errc() && number > 0 && number <= kMostDays * 86'400 / seconds &&
            (unit == std::string_view(&letter, 1) || (unit.empty() && seconds == 1)))
            return number * seconds;
    }
    throw HostError("--signed takes a time such as 30m, 1h or 7d");
}

/// "rtsp://host:port", or rtsps where the host speaks TLS; "" = the host has no RTSP.
std::string RtspBase(HostClient& client) {
    const Json::Value about = client.Get("/api/host");
    int port = 0;
    ReadInt(Member(about, "rtsp"), "port", port);
    const std::string scheme = client.Base().rfind("https://", 0) == 0 ? "rtsps://" : "rtsp://";
    return port == 0 ? std::string() : scheme + client.HostName() + ":" + std::to_string(port);
}

Addresses LiveAddresses(HostClient& client, const ChannelOptions& channel) {
    const std::string path = channel.Path("live");
    const std::string query = HostClient::QueryText(channel.Query());
    const std::string base = client.Base();
    Addresses list{{"ts", base, path + ".ts" + query},
                   {"mp4", base, path + ".mp4" + query},
                   {"jpg", base, path + ".jpg" + query},
                   {"websocket", client.Address("ws", ""),
                    "/stream" + HostClient::QueryText(channel.StreamQuery())}};
    if (const std::string rtsp = RtspBase(client); !rtsp.empty())
        list.insert(list.begin(), {"rtsp", rtsp, path + query});
    return list;
}

Addresses RecordedAddresses(HostClient& client, const ViewOptions& options) {
    HostClient::Query range = options.channel.Query();
    range["from"] = options.from;
    if (!options.to.empty())
        range["to"] = options.to;
    const std::string path = options.channel.Path("play");
    const std::string query = HostClient::QueryText(range);
    const std::string base = client.Base();
    Addresses list{{"ts", base, path + ".ts" + query}, {"mp4", base, path + ".mp4" + query}};
    if (!options.to.empty())
        list.push_back({"download", base, options.channel.Path("download") + ".mp4" + query});
    if (const std::string rtsp = RtspBase(client); !rtsp.empty())
        list.insert(list.begin(), {"rtsp", rtsp, path + query});
    return list;
}

/// Good for so many seconds without a login.
void Sign(HostClient& client, int seconds, Addresses& addresses) {
    for (Address& address : addresses) {
        Json::Value wanted(Json::objectValue);
        wanted["path"] = address.path;
        wanted["seconds"] = seconds;
        if (!ReadString(client.Post("/api/sign", wanted), "path", address.path))
            throw HostError("the host has signed nothing");
    }
}

void Print(const Addresses& addresses, bool json) {
    Json::Value text(Json::objectValue);
    for (const Address& address : addresses) {
        text[address.name] = address.Text();
        if (!json)
            PrintLine(address.name + std::string(10 - address.name.size(), ' ') + address.Text());
    }
    if (json)
        PrintLine(CompactJson(text));
}

std::string Find(const Addresses& addresses, const std::string& name) {
    for (const Address& address : addresses) {
        if (address.name == name)
            return address.Text();
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
    const int seconds = options.signedFor.empty() ? 0 : ReadDuration(options.signedFor);
    Addresses addresses = options.from.empty() ? LiveAddresses(client, options.channel)
                                               : RecordedAddresses(client, options);
    if (seconds > 0)
        Sign(client, seconds, addresses);
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
    command.Text("--signed", options->signedFor,
                 "Make them good without a login for so long: 30m, 1h, 7d");
    command.Flag("--open", options->open, "Start ffplay or mpv on it");
    command.Flag("--json", options->json, "Print one line of JSON");
    AddHostOptions(command, options->host);
}

}  // namespace vms::host
