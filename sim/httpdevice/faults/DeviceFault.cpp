#include "sim/httpdevice/faults/DeviceFault.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace vms::sim::httpdevice {

const std::vector<DeviceFaultInfo>& DeviceFaultCatalogue() {
    using F = DeviceFault;
    static const std::vector<DeviceFaultInfo> catalogue = {
        {F::kRefused, "refused", "", "nothing listens on the device's ports"},
        {F::kHalfOpen, "halfOpen", "", "connections are accepted, never read or answered"},
        {F::kLoginRefused, "loginRefused", "", "every proof is wrong"},
        {F::kKeyRefused, "keyRefused", "", "every proof of the key is wrong"},
        {F::kIterations, "iterations", "50000000", "rounds that the login challenge asks for"},
        {F::kSessionExpired, "sessionExpired", "", "requests find their session expired"},
        {F::kCookieOnly, "cookieOnly", "", "login answers without Api-Session"},
        {F::kApiSessionOnly, "apiSessionOnly", "", "login answers without cookie"},
        {F::kSilent, "silent", "", "reads the request, never answers"},
        {F::kDelay, "delay", "1000", "milliseconds before the answer"},
        {F::kSlow, "slow", "1000", "milliseconds between single bytes"},
        {F::kGarbage, "garbage", "", "a body of junk bytes"},
        {F::kTruncatedJson, "truncatedJson", "", "half of the JSON, with a matching length"},
        {F::kWrongTypes, "wrongTypes", "", "every value under data has another type"},
        {F::kEmptyBody, "emptyBody", "", "no body"},
        {F::kCode, "code", "2004", "that code and no data"},
        {F::kHttp500, "http500", "", "HTTP 500 with a page"},
        {F::kHttpStatus, "httpStatus", "401", "that HTTP status with a page"},
        {F::kDropBefore, "dropBefore", "", "the connection closes instead of an answer"},
        {F::kDropInside, "dropInside", "", "the connection closes in the middle of the body"},
        {F::kDeepJson, "deepJson", "100000", "nested arrays under data"},
        {F::kHugeBody, "hugeBody", "16", "MiB of text under data"},
        {F::kManyItems, "manyItems", "1000000", "so many empty recordings in one answer"},
        {F::kEndlessList, "endlessList", "", "full pages of recordings, page after page"},
        {F::kWsRefused, "wsRefused", "", "the WebSocket upgrade is answered 403"},
        {F::kWsSilent, "wsSilent", "", "the WebSocket upgrade is never answered"},
        {F::kWsDrop, "wsDrop", "0", "the connection drops after so many frames"},
        {F::kWsStall, "wsStall", "0", "goes silent after so many frames, without closing"},
        {F::kFrame36, "frame36", "", "a header without payload before each frame"},
        {F::kFrame37, "frame37", "", "a header and one byte before each frame"},
        {F::kBadHeader, "badHeader", "", "headers of unknown kind, codec and size"},
        {F::kBadTimes, "badTimes", "", "times long before there were any"},
        {F::kMalformed, "malformed", "10", "bytes that are no WebSocket after so many frames"},
        {F::kHugeMessage, "hugeMessage", "32", "a first message of so many MiB"},
        {F::kHugeText, "hugeText", "16384", "a text of so many KiB before each answer"},
        {F::kSameToken, "sameToken", "", "every synchronous session has the token 1"},
        {F::kFlood, "flood", "50", "each frame so many times"},
        {F::kEventsDrop, "eventsDrop", "3", "the next so many event channels drop after a packet"},
        {F::kBadSignature, "badSignature", "", "event packets with another signature"},
        {F::kShortEvents, "shortEvents", "", "event packets of 31 bytes"},
    };
    return catalogue;
}

namespace {

constexpr long long kMaxValue = 1'000'000'000;

const DeviceFaultInfo& InfoFor(std::string_view name) {
    const auto& all = DeviceFaultCatalogue();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const DeviceFaultInfo& info) { return name == info.name; });
    if (found == all.end())
        throw std::invalid_argument("unknown fault: " + std::string(name));
    return *found;
}

const DeviceFaultInfo& InfoFor(DeviceFault fault) {
    const auto& all = DeviceFaultCatalogue();
    return *std::find_if(all.begin(), all.end(),
                         [&](const DeviceFaultInfo& info) { return info.fault == fault; });
}

long long ReadValue(const DeviceFaultInfo& info, std::string_view text) {
    long long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (*info.defaultValue == '\0')
        throw std::invalid_argument(std::string(info.name) + " takes no value");
    if (error != std::errc() || end != text.data() + text.size() || value < 0 || value > kMaxValue)
        throw std::invalid_argument(std::string(info.name) + " takes a number from 0, not '" +
                                    std::string(text) + "'");
    return value;
}

bool SamePlace(const DeviceFaultRule& a, const DeviceFaultRule& b) {
    return a.fault == b.fault && a.endpoint == b.endpoint;
}

}  // namespace

DeviceFaultRule ParseDeviceFault(std::string_view text) {
    const size_t equals = text.find('=');
    const std::string_view head = text.substr(0, equals);
    const size_t at = head.find('@');
    const DeviceFaultInfo& info = InfoFor(head.substr(0, at));
    DeviceFaultRule rule{info.fault, "", 0};
    if (at != std::string_view::npos)
        rule.endpoint = head.substr(at + 1);
    if (equals != std::string_view::npos)
        rule.value = ReadValue(info, text.substr(equals + 1));
    else if (*info.defaultValue != '\0')
        rule.value = ReadValue(info, info.defaultValue);
    return rule;
}

std::string Describe(const DeviceFaultRule& rule) {
    const DeviceFaultInfo& info = InfoFor(rule.fault);
    std::string text = info.name;
    if (!rule.endpoint.empty())
        text += '@' + rule.endpoint;
    if (*info.defaultValue != '\0')
        text += '=' + std::to_string(rule.value);
    return text;
}

void FaultBoard::Add(const DeviceFaultRule& rule) {
    MutexLock lock(mutex_);
    std::erase_if(rules_, [&](const DeviceFaultRule& old) { return SamePlace(old, rule); });
    rules_.push_back(rule);
}

void FaultBoard::Remove(const DeviceFaultRule& rule) {
    MutexLock lock(mutex_);
    std::erase_if(rules_, [&](const DeviceFaultRule& old) { return SamePlace(old, rule); });
}

void FaultBoard::Clear() {
    MutexLock lock(mutex_);
    rules_.clear();
}

std::optional<long long> FaultBoard::Find(DeviceFault fault, std::string_view endpoint) const {
    MutexLock lock(mutex_);
    std::optional<long long> general;
    for (const DeviceFaultRule& rule : rules_) {
        if (rule.fault != fault)
            continue;
        if (rule.endpoint.empty())
            general = rule.value;
        else if (rule.endpoint == endpoint)
            return rule.value;
    }
    return general;
}

bool FaultBoard::TakeOne(DeviceFault fault) {
    MutexLock lock(mutex_);
    for (DeviceFaultRule& rule : rules_) {
        if (rule.fault == fault && rule.value > 0) {
            --rule.value;
            return true;
        }
    }
    return false;
}

std::vector<std::string> FaultBoard::Describe() const {
    MutexLock lock(mutex_);
    std::vector<std::string> texts;
    for (const DeviceFaultRule& rule : rules_)
        texts.push_back(httpdevice::Describe(rule));
    return texts;
}

}  // namespace vms::sim::httpdevice
