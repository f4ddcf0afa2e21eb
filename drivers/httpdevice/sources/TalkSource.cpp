#include "drivers/httpdevice/sources/TalkSource.h"

#include <chrono>
#include <utility>

#include "drivers/httpdevice/sources/DeviceFrame.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

constexpr size_t kMaxWaiting = 50;
constexpr size_t kMaxWaitingBytes = size_t{1} << 20;

bool IsCodec(int code) {
    return code == static_cast<int>(AudioCodec::kALaw) ||
           code == static_cast<int>(AudioCodec::kMuLaw) ||
           code == static_cast<int>(AudioCodec::kAac);
}

uint64_t NowMs() {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::steady_clock::now().time_since_epoch())
                                     .count());
}

}  // namespace

TalkSource::TalkSource(std::shared_ptr<DeviceConnection> device, int encode)
    : device_(std::move(device)),
      deviceEncode_(encode),
      link_(DeviceLink::Make(device_, *this, DeviceLink::Carries::kTexts)) {
    device_->Runtime()->Add(this);
}

TalkSource::~TalkSource() {
    device_->Runtime()->Remove(this);
    link_->Shut();
}

int TalkSource::StartTalk(int channel, int param) {
    const bool usable =
        param == 0 || (IsCodec(param) && (deviceEncode_ == 0 || param == deviceEncode_));
    const bool there = channel >= 0 && device_->MayHaveChannel(channel) && !device_->IsDown();
    MutexLock lock(mutex_);
    if (started_ || !usable || !there)
        return -1;
    started_ = true;
    channel_ = channel;
    encode_ = param;
    link_->Open();
    return 0;
}

void TalkSource::SendTalkData(const char* data, int length) {
    if (data == nullptr || length <= 0)
        return;
    std::string audio(data, static_cast<size_t>(length));
    MutexLock lock(mutex_);
    if (agreed_)
        return Send(audio);
    if (!started_)
        return;
    waitingBytes_ += audio.size();
    waiting_.push_back(std::move(audio));
    while (waiting_.size() > kMaxWaiting || waitingBytes_ > kMaxWaitingBytes) {
        waitingBytes_ -= waiting_.front().size();
        waiting_.pop_front();
    }
}

void TalkSource::StopTalk() {
    MutexLock lock(mutex_);
    started_ = agreed_ = false;
    waiting_.clear();
    waitingBytes_ = 0;
    link_->Request("stop");
    link_->Stop();
}

void TalkSource::OnLinkOpen() {
    MutexLock lock(mutex_);
    if (!started_)
        return;
    Json::Value data;
    data["channel"] = channel_;
    if (encode_ != 0)
        data["encode"] = encode_;
    link_->Request("talk", std::move(data));
}

void TalkSource::OnLinkAnswer(const std::string& action, int code, const Json::Value& data) {
    MutexLock lock(mutex_);
    if (action != "talk" || !started_)
        return;
    ReadInt(data, "encode", encode_);
    ReadInt(data, "sampleRate", rate_);
    agreed_ = code == 0 && IsCodec(encode_);
    if (!agreed_) {
        VMS_LOG(2, "TalkSource", "%s: no talk, code %d, codec %d",
                device_->Address().Label().c_str(), code, encode_);
        started_ = false;
    }
    waitingBytes_ = 0;
    for (const std::string& audio : std::exchange(waiting_, {})) {
        if (agreed_)
            Send(audio);
    }
}

void TalkSource::Send(const std::string& audio) {
    const std::string frame = MakeTalkFrame(static_cast<AudioCodec>(encode_), rate_, serial_++,
                                            NowMs(), audio.data(), audio.size());
    if (!link_->SendBinary(frame) && lost_++ == 0)
        VMS_LOG(2, "TalkSource", "%s: audio is lost", device_->Address().Label().c_str());
}

void TalkSource::OnLinkLost() {
    VMS_LOG(1, "TalkSource", "%s: talk ends", device_->Address().Label().c_str());
    MutexLock lock(mutex_);
    started_ = agreed_ = false;
    waiting_.clear();
    waitingBytes_ = 0;
}

}  // namespace vms::httpdevice
