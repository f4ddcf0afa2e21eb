#include "drivers/httpdevice/sources/PreviewSource.h"

#include <stdexcept>
#include <utility>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {
namespace {

TaveroPreview_ws MakePreview(const DeviceConnection& device, const std::string& session) {
    __tagTvVideoParam description = device.Address().Description();
    return TaveroPreview_ws(&description, session.c_str());
}

}  // namespace

PreviewSource::PreviewSource(std::shared_ptr<DeviceConnection> device, int talkEncode)
    : device_(std::move(device)),
      talkEncode_(talkEncode),
      preview_(MakePreview(*device_, device_->Session())) {
    device_->Runtime()->Add(this);
}

PreviewSource::~PreviewSource() {
    device_->Runtime()->Remove(this);
}

int PreviewSource::StartPreview(std::string key, int channel, int streamType,
                                IStreamCallback* sink) {
    if (sink == nullptr)
        return -1;
    if (!device_->MayHaveChannel(channel)) {
        VMS_LOG(2, "PreviewSource", "%s: no channel %d", device_->Address().Label().c_str(),
                channel);
        return -1;
    }
    if (started_.exchange(true))
        return -1;
    sink_.SetSink(sink);
    preview_.SetConnectTimeout(device_->Runtime()->Settings().connectTimeout);
    const int result = preview_.StartPreview(std::move(key), channel, streamType, &sink_);
    failed_ = result < 0;
    return result;
}

void PreviewSource::StopPreview(std::string key) {
    preview_.StopPreview(std::move(key));
}

void PreviewSource::RequestStopGetPreviewStream() {
    preview_.RequestStopGetPreviewStream();
}

bool PreviewSource::GetCloseGetStreamStatus() {
    return !started_ || failed_ || preview_.GetCloseGetStreamStatus();
}

std::string PreviewSource::GetStreamUri() {
    if (!started_ || failed_)
        throw std::runtime_error("the live stream has not been started");
    return preview_.GetStreamUri();
}

int PreviewSource::GetTalkEncodeType() {
    return talkEncode_;
}

}  // namespace vms::httpdevice
