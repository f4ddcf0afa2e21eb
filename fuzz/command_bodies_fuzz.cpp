// Every parser of command bodies over the same bytes.
#include <cstdint>
#include <string>

#include "platform/VideoCommandHelper.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string body(reinterpret_cast<const char*>(data), size);
    const char* text = body.c_str();

    std::list<__tagTvVideoParam> devices;
    VideoCommandHelper::CommandParse_Video(devices, text);
    std::map<std::string, std::map<int, std::string>> names;
    VideoCommandHelper::CommandParse_DevName(names, text);
    std::string id;
    int a, b, c, d, e, f;
    VideoCommandHelper::CommandParse_GetPreviewUrl(id, a, b, c, text);
    VideoCommandHelper::CommandParse_PlaybackParam(a, b, c, d, e, f, text);
    __tagTvSearchRecordParam search;
    VideoCommandHelper::CommandParse_RecordSearch(search, text);

    // What was read can be written again.
    std::map<std::string, std::map<int, int>> status;
    for (const __tagTvVideoParam& device : devices)
        status[device.id][device.status] = device.port;
    const std::string report = VideoCommandHelper::CommandSerialize_DevStatus(status);
    return report.empty() ? -1 : 0;
}
