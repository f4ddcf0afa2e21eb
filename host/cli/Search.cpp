#include <cstdio>
#include <memory>

#include "host/cli/Commands.h"
#include "host/cli/HostOptions.h"
#include "host/text/JsonText.h"
#include "host/text/Output.h"
#include "host/text/TerminalText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

struct SearchOptions {
    HostAccess host;
    ChannelOptions channel;
    std::string from;
    std::string to;
    std::string type;
    bool json = false;
};

std::string TextOf(const Json::Value& record, const char* name) {
    std::string text;
    ReadString(record, name, text);
    return Printable(text);
}

std::string TypesOf(const Json::Value& record) {
    std::string types;
    for (const Json::Value& type : Member(record, "types"))
        types += (types.empty() ? "" : ",") + (type.isString() ? type.asString() : "?");
    return Printable(types);
}

std::string SizeOf(const Json::Value& record) {
    const Json::Value& bytes = Member(record, "bytes");
    char text[32] = "";
    if (bytes.isNumeric())
        std::snprintf(text, sizeof text, "%.1f MB", bytes.asDouble() / 1e6);
    return text;
}

void Print(const Json::Value& record, bool json) {
    char line[256];
    std::snprintf(line, sizeof line, "%-25s %-25s %-16s %12s", TextOf(record, "from").c_str(),
                  TextOf(record, "to").c_str(), TypesOf(record).c_str(), SizeOf(record).c_str());
    PrintLine(json ? CompactJson(record) : line);
}

/// Page by page, so that the first recordings are seen at once.
int RunSearch(const SearchOptions& options) {
    HostClient client(options.host);
    HostClient::Query query = options.channel.StreamQuery();
    query["from"] = options.from;
    query["to"] = options.to;
    if (!options.type.empty())
        query["type"] = options.type;
    if (!options.json)
        PrintLine(
            "FROM                      TO                        TYPES                    SIZE");
    for (int next = 0, last = -1; next > last;) {
        last = next;
        query["offset"] = std::to_string(next);
        const Json::Value page = client.Get("/api/records", query);
        for (const Json::Value& record : Member(page, "records"))
            Print(record, options.json);
        ReadInt(page, "next", next);
    }
    return 0;
}

}  // namespace

void AddSearch(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<SearchOptions>();
    const CommandInfo info{.name = "search",
                           .description = "List the recordings of a running host's device",
                           .example =
                               "vmshost search --device hall --from 2026-03-01T00:00:00Z "
                               "--to 2026-03-02T00:00:00Z"};
    Options command =
        AddCommand(app, invocation, info, [options](Host&) { return RunSearch(*options); });
    AddChannelOptions(command, options->channel);
    command.RequiredText("--from", options->from, "ISO 8601, or seconds since the epoch");
    command.RequiredText("--to", options->to, "The same");
    command.Text("--type", options->type, "schedule, motion, alarm, several with commas, or all");
    command.Flag("--json", options->json, "Print a line of JSON for each");
    AddHostOptions(command, options->host);
}

}  // namespace vms::host
