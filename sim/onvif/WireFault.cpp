#include "sim/onvif/WireFault.h"

#include <algorithm>

namespace vms::sim {

namespace {

using After = WireAnswer::After;

std::chrono::milliseconds Milliseconds(const FaultRule* rule) {
    return std::chrono::milliseconds(rule ? std::clamp(rule->Number(), 0LL, 3'600'000LL) : 0);
}

WireAnswer Plain(const HttpAnswer& answer, const HttpStyle& style, bool keepAlive) {
    WireAnswer wire;
    const bool stays = keepAlive && style.keepAlive;
    wire.bytes = WriteAnswer(answer, style, stays);
    wire.after = stays ? After::kKeepOpen : After::kClose;
    return wire;
}

WireAnswer WithLength(const HttpAnswer& answer, const HttpStyle& style, long long announced,
                      size_t sent) {
    WireAnswer wire;
    wire.bytes =
        WriteHead(answer, style, LengthFraming(announced), false) + answer.body.substr(0, sent);
    return wire;
}

constexpr const char* kEndlessStart =
    "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body><r>";

std::string Filler() {
    std::string filler;
    while (filler.size() < 64 * 1024)
        filler += "<filler attribute=\"value\">text that nobody asked for</filler>";
    return filler;
}

// A body in valid XML that goes on for as long as somebody reads.
WireAnswer Endless(const HttpAnswer& answer, const HttpStyle& style, const std::string& form) {
    WireAnswer wire;
    wire.endlessTail = Filler();
    if (form == "chunked") {
        wire.bytes = WriteHead(answer, style, ChunkFraming(), false) + WriteChunk(kEndlessStart);
        wire.endlessTail = WriteChunk(wire.endlessTail);
        return wire;
    }
    const HttpFraming framing = form == "length" ? LengthFraming(1LL << 50) : HttpFraming{};
    wire.bytes = WriteHead(answer, style, framing, false) + kEndlessStart;
    return wire;
}

}  // namespace

WireAnswer ToWire(const Camera& camera, const std::string& operation, const HttpAnswer& answer,
                  bool keepAlive) {
    const HttpStyle& style = camera.personality().http;
    const auto find = [&](Fault fault) { return camera.faults().Find(fault, operation); };
    const auto size = static_cast<long long>(answer.body.size());

    if (find(Fault::kSilent))
        return {"", "", {}, {}, After::kHold};
    WireAnswer wire;
    if (const FaultRule* huge = find(Fault::kHuge))
        wire = Endless(answer, style, huge->value);
    else if (find(Fault::kTruncated))
        wire = WithLength(answer, style, size, answer.body.size() / 2);
    else if (find(Fault::kDropAfterHeaders))
        wire = WithLength(answer, style, size, 0);
    else if (const FaultRule* rule = find(Fault::kWrongContentLength))
        wire = WithLength(answer, style, std::max(0LL, size + rule->Number()), answer.body.size());
    else
        wire = Plain(answer, style, keepAlive);
    wire.delay = Milliseconds(find(Fault::kDelay));
    wire.byteInterval = Milliseconds(find(Fault::kSlow));
    return wire;
}

}  // namespace vms::sim
