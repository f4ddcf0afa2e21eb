#pragma once

#include <atomic>
#include <string>

#include "tests/videodevice/Script.h"
#include "videodevice/IFaceFrameServer.h"
#include "videodevice/IPlaybackStreamServer.h"
#include "videodevice/IPreviewStreamServer.h"
#include "videodevice/IStreamCallback.h"
#include "videodevice/ISyncPlaybackServer.h"
#include "videodevice/ITalkStreamServer.h"

namespace vms::test {

/// Sources as a device family would write them: they note every call, deliver media when told to,
/// and report closed only once asked to close, allowed to, and out of the sink. Destroying one
/// that has been started and has not closed is counted as an error of the module.
struct SourceState {
    explicit SourceState(Script& callScript) : script(callScript) { ++alive; }
    ~SourceState();
    SourceState(const SourceState&) = delete;
    SourceState& operator=(const SourceState&) = delete;

    void Start(const std::string& streamKey, IStreamCallback* callback);
    bool Closed() const;

    Script& script;
    std::string key;
    IStreamCallback* sink = nullptr;
    std::atomic<bool> started{false};
    std::atomic<bool> closeAsked{false};
    std::atomic<int> insideSink{0};

    static std::atomic<int> alive;          ///< sources that exist
    static std::atomic<int> destroyedOpen;  ///< started, never closed, destroyed all the same
    static std::atomic<bool> mayClose;      ///< off: nothing ever reports closed
};

class FakePreview final : public IPreviewStreamServer {
public:
    FakePreview(Script& script, std::string uri) : state(script), uri_(std::move(uri)) {}

    int StartPreview(std::string key, int channel, int streamType, IStreamCallback* sink) override;
    void StopPreview(std::string key) override { state.script.Call("StopPreview", key); }
    void RequestStopGetPreviewStream() override;
    bool GetCloseGetStreamStatus() override { return state.Closed(); }
    std::string GetStreamUri() override;
    int GetTalkEncodeType() override { return 1; }

    /// One unit, as from the receive thread. @return what the sink said
    int Deliver(const std::string& key, std::string unit);

    SourceState state;

private:
    const std::string uri_;
};

class FakeFace final : public IFaceFrameServer {
public:
    explicit FakeFace(Script& script) : state(script) {}

    int StartFaceFrame(std::string key, int channel, IStreamCallback* sink) override;
    void StopFaceFrame(std::string key) override { state.script.Call("StopFaceFrame", key); }
    void RequestStopGetPreviewStream() override;
    bool GetCloseGetStreamStatus() override { return state.Closed(); }
    std::string GetStreamUri() override { return state.key; }

    SourceState state;
};

class FakePlayback final : public IPlaybackStreamServer {
public:
    FakePlayback(Script& script, std::string uri) : state(script), uri_(std::move(uri)) {}

    void StartPlayback(std::string key, int channel, int beginTime, int endTime, int streamNo,
                       int recordType, int seekTime, IStreamCallback* sink,
                       bool firstStart) override;
    void StartDownload(std::string key, int channel, int beginTime, int endTime,
                       IStreamCallback* sink) override;
    void StopPlayback(std::string key) override { state.script.Call("StopPlayback", key); }
    std::string GetStreamUri() override;
    void RequestStopGetPlaybackStream() override;
    bool GetCloseGetStreamStatus() override { return state.Closed(); }
    int Pause(std::string key) override { return state.script.Call("Pause", key); }
    int Resume(std::string key) override { return state.script.Call("Resume", key); }
    int SetSpeed(std::string key, int speed) override;
    int Seek(std::string key, int position) override;

    SourceState state;

private:
    const std::string uri_;
};

class FakeTalk final : public ITalkStreamServer {
public:
    FakeTalk(Script& script, int number) : state(script), number_(std::to_string(number)) {}

    int StartTalk(int channel, int param) override;
    void SendTalkData(const char* data, int length) override;
    void StopTalk() override;

    SourceState state;

private:
    const std::string number_;
};

class FakeSession final : public ISyncPlaybackServer {
public:
    explicit FakeSession(Script& script) : state(script) {}

    int Create(const char* id, int beginTime, int endTime, int seekTime, int recordType,
               int streamNo, int speed, IStreamCallback* sink) override;
    int AddChannels(std::list<int>& channels) override;
    int DelChannels(std::list<int>& channels) override;
    void Destroy() override { state.script.Call("Destroy"); }
    int Start() override { return state.script.Call("Start"); }
    int Stop() override { return state.script.Call("Stop"); }
    int Seek(int position) override;
    int SetSpeed(int speed) override;
    int Pause() override { return state.script.Call("Pause"); }
    int Resume() override { return state.script.Call("Resume"); }
    std::string GetToken() override;
    void RequestStopGetPlaybackStream() override;
    bool GetCloseGetStreamStatus() override { return state.Closed(); }

    SourceState state;
};

}  // namespace vms::test
