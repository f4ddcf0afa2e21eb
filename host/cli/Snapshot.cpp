#include <memory>

#include "host/cli/Commands.h"
#include "host/cli/HostOptions.h"
#include "host/play/FileBytes.h"
#include "host/play/OutputFile.h"
#include "host/text/HostError.h"
#include "media/MediaError.h"

namespace vms::host {
namespace {

struct SnapshotOptions {
    HostAccess host;
    ChannelOptions channel;
    int width = 0;
    std::string out;
};

int RunSnapshot(const SnapshotOptions& options) {
    HostClient client(options.host);
    HostClient::Query query = options.channel.Query();
    if (options.width > 0)
        query["width"] = std::to_string(options.width);
    const std::string picture = client.GetBytes(options.channel.Path("live") + ".jpg", query);
    OutputFile file(options.out);
    try {
        FileBytes bytes(file.Open());
        bytes.Write(picture);
        bytes.Finish();
    } catch (const MediaError& error) {
        throw HostError("cannot write " + options.out + ": " + error.what());
    }
    file.Keep();
    return 0;
}

}  // namespace

void AddSnapshot(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<SnapshotOptions>();
    const CommandInfo info{.name = "snapshot",
                           .description = "Write the newest picture of a running host's device",
                           .example = "vmshost snapshot --device hall --width 640 --out hall.jpg"};
    Options command =
        AddCommand(app, invocation, info, [options](Host&) { return RunSnapshot(*options); });
    AddChannelOptions(command, options->channel);
    command.Integer("--width", options->width, "At most so many pixels wide", 16, 4096);
    command.RequiredText("--out", options->out, "JPEG file to write; - is standard output");
    AddHostOptions(command, options->host);
}

}  // namespace vms::host
