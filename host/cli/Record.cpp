#include <memory>

#include "host/cli/Commands.h"
#include "host/cli/HostOptions.h"
#include "host/play/MediaOutput.h"
#include "host/play/PlaySession.h"
#include "host/text/HostError.h"
#include "host/text/Output.h"

namespace vms::host {
namespace {

constexpr double kLongest = 1e6;  ///< seconds

struct RecordOptions {
    HostAccess host;
    ChannelOptions channel;
    double seconds = 0;
    std::string out;
};

/// What has been received is kept even when the stream broke off.
int RunRecord(const RecordOptions& options, Host& host) {
    const HostClient client(options.host);
    const std::unique_ptr<UnitSink> sink = OpenMediaOutput(options.out, "");
    PlayRequest request;
    request.url = StreamAddressOf(client, options.channel);
    request.trust = options.host.trust;
    request.length = SecondsToWait(options.seconds);
    request.readsInput = false;
    PlaySession session(request, sink.get());
    try {
        session.Run(host.Signals().Descriptor());
    } catch (const HostError&) {
        sink->Finish();
        throw;
    }
    sink->Finish();
    PrintLine(session.Statistics().ToText());
    return 0;
}

}  // namespace

void AddRecord(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<RecordOptions>();
    const CommandInfo info{
        .name = "record",
        .description = "Write the live stream of a running host's device to a file",
        .example = "vmshost record --device hall --seconds 60 --out hall.mp4",
        .signals = WatchedSignals::kStop};
    Options command = AddCommand(app, invocation, info,
                                 [options](Host& host) { return RunRecord(*options, host); });
    AddChannelOptions(command, options->channel);
    command.Seconds("--seconds", options->seconds, "How long (default: until it is stopped)",
                    kLongest);
    command.RequiredText("--out", options->out, "File to write: mp4, mkv, ts and what play writes");
    AddHostOptions(command, options->host);
}

}  // namespace vms::host
