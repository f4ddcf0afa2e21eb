#include "drivers/httpdevice/FamilySettings.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {
namespace {

constexpr const char* kSeparators = "; \t\r\n";

bool ReadNumber(std::string_view text, long long low, long long high, long long& out) {
    long long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return false;
    out = std::clamp(value, low, high);
    return true;
}

bool ReadTime(std::string_view text, long long highMs, std::chrono::milliseconds& out) {
    long long ms = 0;
    if (!ReadNumber(text, 100, highMs, ms))
        return false;
    out = std::chrono::milliseconds(ms);
    return true;
}

bool Apply(std::string_view name, std::string_view value, FamilySettings& settings) {
    long long number = 0;
    if (name == "connectTimeoutMs")
        return ReadTime(value, 60'000, settings.connectTimeout);
    if (name == "requestTimeoutMs")
        return ReadTime(value, 120'000, settings.requestTimeout);
    if (name == "heartbeatMs")
        return ReadTime(value, 3'600'000, settings.heartbeat);
    if (name == "maxProbeGapMs")
        return ReadTime(value, 600'000, settings.maxProbeGap);
    if (name == "maxAnswerBytes" && ReadNumber(value, 4096, 1 << 30, number))
        settings.maxAnswerBytes = static_cast<size_t>(number);
    else if (name == "verifyCertificates" && ReadNumber(value, 0, 1, number))
        settings.verifyCertificates = number != 0;
    else if (name == "trustedCertificates")
        settings.trustedCertificates = value;
    else
        return false;
    return true;
}

void ApplyPair(std::string_view pair, FamilySettings& settings) {
    const size_t equals = pair.find('=');
    const bool applied = equals != std::string_view::npos &&
                         Apply(pair.substr(0, equals), pair.substr(equals + 1), settings);
    if (!applied)
        VMS_LOG(2, "HttpDeviceFactory", "setting not understood: %s", std::string(pair).c_str());
}

}  // namespace

FamilySettings ParseSettings(const std::string& text) {
    FamilySettings settings;
    size_t begin = text.find_first_not_of(kSeparators);
    while (begin != std::string::npos) {
        const size_t end = std::min(text.find_first_of(kSeparators, begin), text.size());
        ApplyPair(std::string_view(text).substr(begin, end - begin), settings);
        begin = text.find_first_not_of(kSeparators, end);
    }
    return settings;
}

}  // namespace vms::httpdevice
