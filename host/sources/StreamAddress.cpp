#include "host/sources/StreamAddress.h"

#include <charconv>

namespace vms::host {
namespace {

constexpr int kHighest = 65535;

bool ReadNumber(const std::string& text, int& number) {
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && last == end && number >= 0 && number <= kHighest;
}

}  // namespace

std::string ReadStreamAddress(const std::string& device, const std::string& channel,
                              const std::string& stream, StreamAddress& address) {
    if (device.empty() || device.size() > kLongestDevice || device.find('\0') != std::string::npos)
        return "this is no identifier of a device";
    if (!ReadNumber(channel, address.channel))
        return "the channel must be a number from 0 to 65535";
    address.stream = 0;
    if (!stream.empty() && !ReadNumber(stream, address.stream))
        return "the stream must be a number from 0 to 65535";
    address.device = device;
    return "";
}

}  // namespace vms::host
