#include "tests/videodevice/FakeSources.h"

#include <list>

namespace vms::test {
namespace {

template <class... Values>
std::string Join(const std::string& first, Values... values) {
    std::string text = first;
    ((text += (text.empty() ? "" : " ") + std::to_string(values)), ...);
    return text;
}

std::string Join(const std::list<int>& values) {
    std::string text;
    for (const int value : values)
        text = Join(text, value);
    return text;
}

}  // namespace

std::atomic<int> SourceState::alive{0};
std::atomic<int> SourceState::destroyedOpen{0};
std::atomic<bool> SourceState::mayClose{true};

SourceState::~SourceState() {
    --alive;
    if ((started && !closeAsked) || insideSink != 0)
        ++destroyedOpen;
}

void SourceState::Start(const std::string& streamKey, IStreamCallback* callback) {
    key = streamKey;
    sink = callback;
    started = true;
}

bool SourceState::Closed() const {
    return mayClose && closeAsked && insideSink == 0;
}

int FakePreview::StartPreview(std::string key, int channel, int streamType, IStreamCallback* sink) {
    state.Start(key, sink);
    return state.script.Call("StartPreview", Join("", channel, streamType));
}

void FakePreview::RequestStopGetPreviewStream() {
    state.script.Call("ClosePreview");
    state.closeAsked = true;
}

std::string FakePreview::GetStreamUri() {
    state.script.Call("PreviewUri");
    return uri_.empty() ? state.key : uri_;
}

int FakePreview::Deliver(const std::string& key, std::string unit) {
    ++state.insideSink;
    const int result = state.sink->SteramCallback(key, unit.data(), static_cast<int>(unit.size()));
    --state.insideSink;
    return result;
}

int FakeFace::StartFaceFrame(std::string key, int channel, IStreamCallback* sink) {
    state.Start(key, sink);
    return state.script.Call("StartFaceFrame", Join("", channel));
}

void FakeFace::RequestStopGetPreviewStream() {
    state.script.Call("CloseFace");
    state.closeAsked = true;
}

void FakePlayback::StartPlayback(std::string key, int channel, int beginTime, int endTime,
                                 int streamNo, int recordType, int seekTime, IStreamCallback* sink,
                                 bool firstStart) {
    state.Start(key, sink);
    state.script.Call("StartPlayback", Join(key, channel, beginTime, endTime, streamNo, recordType,
                                            seekTime, firstStart ? 1 : 0));
}

void FakePlayback::StartDownload(std::string key, int channel, int beginTime, int endTime,
                                 IStreamCallback* sink) {
    state.Start(key, sink);
    state.script.Call("StartDownload", Join(key, channel, beginTime, endTime));
}

std::string FakePlayback::GetStreamUri() {
    state.script.Call("PlaybackUri");
    return uri_;
}

void FakePlayback::RequestStopGetPlaybackStream() {
    state.script.Call("ClosePlayback");
    state.closeAsked = true;
}

int FakePlayback::SetSpeed(std::string key, int speed) {
    return state.script.Call("SetSpeed", Join(key, speed));
}

int FakePlayback::Seek(std::string key, int position) {
    return state.script.Call("Seek", Join(key, position));
}

int FakeTalk::StartTalk(int channel, int param) {
    return state.script.Call("StartTalk", Join(number_, channel, param));
}

void FakeTalk::SendTalkData(const char* data, int length) {
    state.script.Call("SendTalkData", std::string(data, static_cast<size_t>(length)));
}

void FakeTalk::StopTalk() {
    state.script.Call("StopTalk", number_);
}

int FakeSession::Create(const char* id, int beginTime, int endTime, int seekTime, int recordType,
                        int streamNo, int speed, IStreamCallback* sink) {
    state.Start(id, sink);
    const int result = state.script.Call(
        "Create", Join(id, beginTime, endTime, seekTime, recordType, streamNo, speed));
    state.started = result >= 0;
    return result;
}

int FakeSession::AddChannels(std::list<int>& channels) {
    return state.script.Call("AddChannels", Join(channels));
}

int FakeSession::DelChannels(std::list<int>& channels) {
    return state.script.Call("DelChannels", Join(channels));
}

int FakeSession::Seek(int position) {
    return state.script.Call("Seek", Join("", position));
}

int FakeSession::SetSpeed(int speed) {
    return state.script.Call("SetSpeed", Join("", speed));
}

std::string FakeSession::GetToken() {
    state.script.Call("GetToken");
    return state.script.MakesNull("GetToken") ? "" : "token";
}

void FakeSession::RequestStopGetPlaybackStream() {
    state.script.Call("CloseSession");
    state.closeAsked = true;
}

}  // namespace vms::test
