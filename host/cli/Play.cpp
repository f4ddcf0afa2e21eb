#include <cstdio>
#include <limits>
#include <memory>

#include "host/cli/Commands.h"
#include "host/play/MediaOutput.h"
#include "host/play/OutputFile.h"
#include "host/play/PlaySession.h"
#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "host/text/Output.h"
#include "module/CommandRecord.h"

namespace vms::host {
namespace {

constexpr double kLongest = 1e6;  ///< seconds

struct PlayOptions {
    std::string url;
    LinkTrust trust;
    std::string key;
    std::string out;
    std::string format;
    std::string trace;
    int channel = 0;
    int begin = 0;
    int end = 0;
    int recordType = 0;
    bool download = false;
    bool sync = false;
    double seconds = 0;
    int units = 0;
    bool json = false;
};

std::string RangeBody(const PlayOptions& options) {
    Json::Value body(Json::objectValue);
    body["channel"] = options.channel;
    body["beginTime"] = options.begin;
    body["endTime"] = options.end;
    body["recordType"] = options.recordType;
    return CompactJson(body);
}

PlayRequest RequestOf(const PlayOptions& options) {
    PlayRequest request;
    request.url = options.url;
    request.trust = options.trust;
    request.key = options.key;
    request.length = SecondsToWait(options.seconds);
    request.units = options.units;
    request.trace = options.trace;
    request.startCommand = TV_STREAM_PREVIEW_START;
    if (options.sync) {
        request.startCommand = TV_STREAM_PLAYBACK_START;
        request.startBody = std::to_string(options.channel);
        request.refusalIsFine = true;
    } else if (options.begin > 0) {
        request.startCommand =
            options.download ? TV_STREAM_DOWNLOAD_START : TV_STREAM_PLAYBACK_START;
        request.startBody = RangeBody(options);
    } else if (options.download) {
        throw HostError("a download needs --begin and --end");
    }
    return request;
}

/// Standard output may be the media's.
void PrintResult(const PlayOptions& options, const PlayStatistics& statistics) {
    const std::string result =
        options.json ? CompactJson(statistics.ToJson()) : statistics.ToText();
    if (options.out == kStandardOutput)
        std::fprintf(stderr, "%s\n", result.c_str());
    else
        PrintLine(result);
}

/// What has been received is kept and told even when the stream broke off.
int RunPlay(const PlayOptions& options, Host& host) {
    const std::unique_ptr<UnitSink> sink =
        options.out.empty() ? nullptr : OpenMediaOutput(options.out, options.format);
    PlaySession session(RequestOf(options), sink.get());
    const auto finish = [&] {
        if (sink != nullptr)
            sink->Finish();
        PrintResult(options, session.Statistics());
    };
    try {
        session.Run(host.Signals().Descriptor());
    } catch (const HostError&) {
        finish();
        throw;
    }
    finish();
    return 0;
}

}  // namespace

void AddPlay(CLI::App& app, Invocation& invocation) {
    const auto options = std::make_shared<PlayOptions>();
    const CommandInfo info{
        .name = "play",
        .description =
            "Receive a stream from a stream server: live, or recorded with --begin and "
            "--end. Reads pause, resume, speed N, seek SECONDS, talk FILE, hush and quit "
            "from standard input",
        .example = "vmshost play --url ws://127.0.0.1:8080/stream --key KEY --out clip.ts",
        .signals = WatchedSignals::kStop};
    Options command = AddCommand(app, invocation, info,
                                 [options](Host& host) { return RunPlay(*options, host); });
    constexpr int kMost = std::numeric_limits<int>::max();
    command.RequiredText("--url", options->url,
                         "ws:// or wss:// address, ?token=T if one is needed");
    command.Text("--fingerprint", options->trust.fingerprint,
                 "SHA-256 of the server's certificate, for wss:// without an authority");
    command.Flag("--insecure", options->trust.isInsecure, "Believe any certificate");
    command.RequiredText("--key", options->key, "Stream key from the module's answer (uri)");
    command.Text("--out", options->out,
                 "File to write: ts, mkv, mp4, or bare h264, h265, mjpeg, aac, alaw, mulaw; - is "
                 "standard output");
    command.Text("--format", options->format,
                 "Kind of the file if not as its name ends (default for standard output: ts)");
    command.Text("--trace", options->trace,
                 "File for a line per unit: arrival, codec, key, serial, timestamp, bytes");
    command.Integer("--channel", options->channel, "Channel of recorded streams", 0, kMost);
    command.Integer("--begin", options->begin, "Begin, seconds since the epoch", 0, kMost);
    command.Integer("--end", options->end, "End, seconds since the epoch", 0, kMost);
    command.Integer("--record-type", options->recordType, "Mask of record types, 0 = all", 0,
                    kMost);
    command.Flag("--download", options->download, "As fast as it comes instead of played");
    command.Flag("--sync", options->sync, "The key is that of a synchronous session");
    command.Seconds("--seconds", options->seconds, "End after so long (default: never)", kLongest);
    command.Integer("--units", options->units, "End after so many media units", 1, kMost);
    command.Flag("--json", options->json, "Print the result as one line of JSON");
}

}  // namespace vms::host
