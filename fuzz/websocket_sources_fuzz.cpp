// Messages of a device, as both WebSocket sources take them. Every unit is checked against what a
// media unit must be, in memory of its own so that reading past it is seen.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "videodevice/IStreamCallback.h"
#include "websocket/TaveroFaceFrame_ws.h"
#include "websocket/TaveroPreview_ws.h"

namespace {

class CheckingSink final : public IStreamCallback {
public:
    int SteramCallback(std::string, char* data, int length) override {
        uint32_t flags = 0;
        if (length < 32)
            std::abort();
        std::memcpy(&flags, data + 4, sizeof flags);
        if ((flags & 3) == 2 || (flags >> 29) != 0)
            std::abort();
        for (int i = 0; i < length; ++i)
            sum += static_cast<unsigned char>(data[i]);
        ++units;
        return 0;
    }
    int MsgCallback(std::string, const char*) override { return 0; }
    void UpdateKeyFrame(std::string, char*, int) override {}
    int QueryDataCountToSend(std::string) override { return -1; }

    unsigned sum = 0;
    int units = 0;
};

/// A started source, though nobody listens where it connects to.
template <class Source>
void Start(Source& source, CheckingSink& sink) {
    if constexpr (requires { source.StartPreview("", 0, 0, &sink); })
        source.StartPreview("key", 0, 0, &sink);
    else
        source.StartFaceFrame("key", 0, &sink);
}

template <class Source>
int UnitsMade(const uint8_t* data, int size) {
    static CheckingSink sink;
    static Source& source = []() -> Source& {
        static __tagTvVideoParam nowhere;
        static Source made(&nowhere, nullptr);
        Start(made, sink);
        return made;
    }();
    const int before = sink.units;
    const std::unique_ptr<char[]> copy(new char[static_cast<size_t>(size)]);
    std::memcpy(copy.get(), data, static_cast<size_t>(size));
    source.OnRecv(1, copy.get(), size);
    return sink.units - before;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (data == nullptr || size == 0)
        return 0;
    const int length = static_cast<int>(size);
    const bool isFrame = length > 36 && data[0] != '{';
    const bool isFace = length >= 32 && data[0] == 0xa5 && data[1] == 0xa5;
    if (UnitsMade<TaveroPreview_ws>(data, length) != (isFrame ? 1 : 0) ||
        UnitsMade<TaveroFaceFrame_ws>(data, length) != (isFace ? 1 : 0))
        std::abort();
    const std::string path(reinterpret_cast<const char*>(data), size);
    const TaveroPreview_ws preview(nullptr, path.c_str());
    const TaveroFaceFrame_ws face(nullptr, path.c_str());
    return 0;
}
