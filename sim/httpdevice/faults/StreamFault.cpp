#include "sim/httpdevice/faults/StreamFault.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "sim/httpdevice/media/FrameHeader.h"

namespace vms::sim::httpdevice {

namespace {

constexpr long long kMaxFlood = 1000;
constexpr long long kMaxMebibytes = 256;

OutMessage HeaderAlone(const OutMessage& frame, size_t extraBytes) {
    OutMessage message;
    message.media = true;
    message.head = frame.head + std::string(extraBytes, '\0');
    return message;
}

OutMessage WithBadHeader(OutMessage frame) {
    std::string& head = frame.head;
    std::fill(head.begin(), head.begin() + 4, '\xff');        // length
    head[4] = '\x7e';                                         // kind
    std::fill(head.begin() + 16, head.begin() + 30, '\xff');  // rate, size, codec, type
    return frame;
}

OutMessage WithBadTime(OutMessage frame) {
    frame.head[35] = '\x80';  // the highest byte of the time
    return frame;
}

// A reserved operation with a length that never comes: no reader can make sense of it.
std::string NoWebSocket() {
    return std::string("\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff junk", 15);
}

OutMessage Huge(long long mebibytes) {
    OutMessage message;
    message.head = Write(FrameHeader());
    message.payload = std::make_shared<const std::string>(
        static_cast<size_t>(std::min(mebibytes, kMaxMebibytes)) << 20, '\x5a');
    return message;
}

}  // namespace

void StreamFault::Rewrite(std::vector<OutMessage>& messages) const {
    const auto flood = faults_.Find(DeviceFault::kFlood);
    const bool only36 = faults_.Has(DeviceFault::kFrame36);
    const bool only37 = faults_.Has(DeviceFault::kFrame37);
    const bool bad = faults_.Has(DeviceFault::kBadHeader);
    const bool badTimes = faults_.Has(DeviceFault::kBadTimes);
    if (!flood && !only36 && !only37 && !bad && !badTimes)
        return;
    std::vector<OutMessage> out;
    for (OutMessage& message : messages) {
        if (message.media && only36)
            out.push_back(HeaderAlone(message, 0));
        if (message.media && only37)
            out.push_back(HeaderAlone(message, 1));
        if (message.media && bad)
            message = WithBadHeader(std::move(message));
        if (message.media && badTimes)
            message = WithBadTime(std::move(message));
        for (long long i = 1; message.media && i < std::min(flood.value_or(1), kMaxFlood); ++i)
            out.push_back(message);
        out.push_back(std::move(message));
    }
    messages = std::move(out);
}

void StreamFault::Cut(Batch& batch) {
    const auto drop = faults_.Find(DeviceFault::kWsDrop);
    const auto stall = faults_.Find(DeviceFault::kWsStall);
    const auto malformed = faults_.Find(DeviceFault::kMalformed);
    if (!drop && !stall && !malformed)
        return;
    for (size_t i = 0; i < batch.messages.size(); ++i) {
        if (!batch.messages[i].media)
            continue;
        const auto reached = [this](std::optional<long long> at) { return at && sent_ >= *at; };
        if (reached(malformed))
            batch.raw = NoWebSocket();
        if (reached(malformed) || reached(stall))
            batch.end = Batch::End::kStall;
        else if (reached(drop))
            batch.end = Batch::End::kAbort;
        ++sent_;
        if (batch.end == Batch::End::kStay)
            continue;
        batch.messages.resize(i);
        return;
    }
}

void StreamFault::Apply(Batch& batch) {
    const auto huge = faults_.Find(DeviceFault::kHugeMessage);
    const bool media = std::any_of(batch.messages.begin(), batch.messages.end(),
                                   [](const OutMessage& message) { return message.media; });
    if (huge && media && !std::exchange(hugeSent_, true))
        batch.messages.insert(batch.messages.begin(), Huge(*huge));
    Rewrite(batch.messages);
    Cut(batch);
}

}  // namespace vms::sim::httpdevice
