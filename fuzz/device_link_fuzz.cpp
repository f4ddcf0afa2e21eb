// Messages of a device on a link, as playback, synchronous playback and talk take them. Frames go
// on to a media unit, in memory of their own so that reading past them is seen.
#include <json/value.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "drivers/httpdevice/session/DeviceConnection.h"
#include "drivers/httpdevice/sources/DeviceLink.h"
#include "drivers/httpdevice/sources/UnitBuffer.h"
#include "videodevice/IStreamCallback.h"

namespace {

using namespace vms::httpdevice;

void Require(bool holds) {
    if (!holds)
        std::abort();
}

class CheckingSink final : public IStreamCallback {
public:
    int SteramCallback(std::string, char* data, int length) override {
        uint32_t flags = 0;
        Require(length > static_cast<int>(vms::kMediaHeaderSize));
        std::memcpy(&flags, data + 4, sizeof flags);
        Require((flags & 3) <= 1);
        for (int i = 0; i < length; ++i)
            sum += static_cast<unsigned char>(data[i]);
        return 0;
    }
    int MsgCallback(std::string, const char*) override { return 0; }
    void UpdateKeyFrame(std::string, char*, int) override {}
    int QueryDataCountToSend(std::string) override { return 0; }

    unsigned sum = 0;
};

/// Takes frames as recordings from the year 2023 on.
class CheckingListener final : public DeviceLink::Listener {
public:
    void OnLinkOpen() override {}
    void OnLinkAnswer(const std::string&, int, const Json::Value& data) override {
        sum += data.size();
        ++texts;
    }
    void OnLinkFrame(const char* data, int length) override {
        const DeviceFrame frame = ReadDeviceFrame(data);
        Require(frame.timeMs >= 0);
        units_.Deliver(sink_, "key", frame, data, length, 1'700'000'000'000);
        ++frames;
    }
    void OnLinkEnd(const std::string&) override { ++texts; }
    void OnLinkLost() override {}

    size_t sum = 0;
    int texts = 0;
    int frames = 0;

private:
    CheckingSink sink_;
    UnitBuffer units_;
};

struct Bench {
    static __tagTvVideoParam Nowhere() {
        __tagTvVideoParam device;
        device.ip = "127.0.0.1";
        return device;
    }

    CheckingListener listener;
    std::shared_ptr<FamilyRuntime> runtime = std::make_shared<FamilyRuntime>(FamilySettings{});
    std::shared_ptr<DeviceConnection> device =
        std::make_shared<DeviceConnection>(Nowhere(), runtime);
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Bench& bench = *new Bench;
    if (data == nullptr || size == 0)
        return 0;
    const std::unique_ptr<char[]> copy(new char[size]);
    std::memcpy(copy.get(), data, size);
    CheckingListener& listener = bench.listener;
    listener.texts = listener.frames = 0;
    // A link of its own: what the device says of the session is remembered.
    const auto link = DeviceLink::Make(bench.device, listener);
    constexpr long long kNoConnection = 0;  // the one whose messages a new link hears
    link->OnRecv(kNoConnection, copy.get(), static_cast<int>(size));
    link->Shut();
    const bool isFrame = IsDeviceFrame(copy.get(), static_cast<int>(size));
    Require(listener.frames == (isFrame ? 1 : 0));
    Require(listener.texts == 0 || (!isFrame && copy[0] == '{' && size <= kShortAnswer.bytes));
    return 0;
}
