#include <memory>

#include "host/cli/Commands.h"
#include "host/cli/HostOptions.h"
#include "host/play/PlaySession.h"

namespace vms::host {
namespace {

struct TalkOptions {
    HostAccess host;
    ChannelOptions channel;
    std::string file;
};

int RunTalk(const TalkOptions& options, Host& host) {
    const HostClient client(options.host);
    PlayRequest request;
    request.url = StreamAddressOf(client, options.channel);
    request.trust = options.host.trust;
    request.talk = options.file;
    request.readsInput = false;
    PlaySession(request, nullptr).Run(host.Signals().Descriptor());
    return 0;
}

}  // namespace

void AddTalk(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<TalkOptions>();
    const CommandInfo info{.name = "talk",
                           .description = "Say a sound file to a running host's device",
                           .example = "vmshost talk --device hall --file welcome.wav",
                           .signals = WatchedSignals::kStop};
    Options command = AddCommand(app, invocation, info,
                                 [options](Host& host) { return RunTalk(*options, host); });
    AddChannelOptions(command, options->channel);
    command.RequiredText("--file", options->file, "Sound file: G.711, 8 kHz, mono");
    AddHostOptions(command, options->host);
}

}  // namespace vms::host
