#include "onvif/PreviewUrl.h"

#include <locale>
#include <sstream>
#include <string_view>

namespace vms {
namespace {

constexpr size_t kSchemeLength = std::string_view("rtsp://").size();

}  // namespace

std::string MakePreviewUrl(const std::string& rawUri, const __tagTvVideoParam& device, int channel,
                           int streamIndex) {
    std::stringstream text;
    // The host's locale might group digits, or take a byte of a letter for a blank.
    text.imbue(std::locale::classic());
    if (rawUri.find("rtsps") == std::string::npos) {
        text << "rtsp://" << device.username << ":" << device.password << "@"
             << rawUri.substr(kSchemeLength);
    } else {
        text << "rtsps://" << device.username << ":" << device.password << "@" << device.ip
             << ":554/" << channel << streamIndex;
    }
    std::string url;
    text >> url;
    return url;
}

}  // namespace vms
