// What a player asks for: a request target, and on a second line a Range header.
// Whatever they hold, what is read of them stays within its bounds.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "host/http/ByteRange.h"
#include "host/http/HttpTarget.h"
#include "host/players/http/MediaTarget.h"

namespace {

using namespace vms::host;

void Require(bool condition) {
    if (!condition)
        std::abort();
}

void CheckTarget(std::string_view target) {
    HttpRequest request;
    if (!ReadHttpTarget(target, request))
        return;
    request.rest.assign(request.segments.begin() + 1, request.segments.end());
    HttpResponse failure;
    if (const auto media = ReadMediaTarget(request, {"ts", "mp4", "jpg"}, failure)) {
        Require(!media->stream.device.empty() && media->stream.device.size() <= kLongestDevice);
        Require(media->stream.channel >= 0 && media->stream.stream >= 0);
    } else {
        Require(failure.status == 404 || failure.status == 400);
    }
    std::string problem;
    if (const auto range = ReadMediaRange(request.query, problem)) {
        Require(range->from > 0 && range->to > range->from);
        Require(range->speed >= 0.25 && range->speed <= 16 && SourceSpeed(range->speed) != 0);
    } else {
        Require(!problem.empty());
    }
    if (const auto width = ReadWidth(request.query))
        Require(*width == 0 || (*width >= 16 && *width <= 4096));
}

void CheckRange(std::string_view header) {
    const auto range = ReadByteRange(header);
    if (!range)
        return;
    for (const uint64_t size : {uint64_t{0}, uint64_t{1}, uint64_t{1000}, UINT64_MAX}) {
        if (const auto span = SpanOf(*range, size))
            Require(span->begin < span->end && span->end <= size);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const size_t end = bytes.find('\n');
    CheckTarget(bytes.substr(0, end));
    if (end != bytes.npos)
        CheckRange(bytes.substr(end + 1));
    return 0;
}
