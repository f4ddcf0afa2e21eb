// What an RTSP player sends. The first byte says in what pieces it comes. However it comes, the
// same is read, and no more waits than may; whatever stands in a request, its parts can be looked
// at.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/players/rtsp/RtspRange.h"
#include "host/players/rtsp/RtspRequestReader.h"
#include "host/players/rtsp/RtspTarget.h"
#include "host/players/rtsp/RtspTransport.h"

namespace {

using namespace vms::host;
using Progress = RtspRequestReader::Progress;

void Require(bool condition) {
    if (!condition)
        std::abort();
}

std::string Seen(const RtspRequest& request) {
    RtspTarget target;
    std::string text;
    const int status = ReadRtspTarget(request.uri, 2'000'000'000, target, text);
    Require(status != 200 || (!target.stream.device.empty() && target.track <= 9 &&
                              (target.isLive || target.from < target.to)));
    Require(target.stream.device.find('\0') == std::string::npos);
    RtspTransport transport;
    const int chosen = ChooseRtspTransport(request.Header("Transport"), "10.0.0.1", transport);
    Require(chosen != 200 || transport.isTcp ||
            std::min(transport.rtpPort, transport.rtcpPort) >= 1024);
    const auto range = ReadRtspRange(request.Header("Range"));
    Require(!range || range->startMs.value_or(0) >= 0);
    const int speed = ReadRtspScale(request.Header("Scale"));
    Require(speed >= -4 && speed <= 16 && RtspScaleOf(speed) >= 0.25);
    RtspAnswer answer{chosen, {{"Location", RtspTrackUri(request.uri, 1)}}};
    const std::string told = RtspAnswerText(answer, request.Header("CSeq"));
    Require(std::count(told.begin(), told.end(), '\n') <= 5);
    return request.method + " " + request.uri + " " + request.body + std::to_string(status) +
           std::to_string(chosen) + std::to_string(speed) + "\n";
}

/// All that is read when it comes in pieces of so many bytes. @param failed set to the status it
/// ends with, 0 = none
std::string Read(std::string_view bytes, size_t piece, int& failed) {
    RtspRequestReader reader;
    std::string input;
    std::string seen;
    failed = 0;
    while (!bytes.empty() && failed == 0) {
        input += bytes.substr(0, piece);
        bytes.remove_prefix(std::min(piece, bytes.size()));
        for (;;) {
            const Progress progress = reader.Read(input);
            if (progress == Progress::kFailed)
                failed = reader.Failure();
            else if (progress == Progress::kRequest)
                seen += Seen(reader.Request());
            else if (progress == Progress::kPacket)
                seen += std::to_string(reader.Channel()) + reader.Packet();
            if (progress == Progress::kFailed || progress == Progress::kMore)
                break;
        }
        Require(failed != 0 || input.size() <= RtspRequestReader::kMostInput);
    }
    return seen;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    int whole = 0;
    int pieces = 0;
    const std::string one = Read(bytes, std::string_view::npos, whole);
    const std::string other = Read(bytes, data[0] % 16 + 1, pieces);
    Require(one == other && (whole == 0) == (pieces == 0));
    return 0;
}
