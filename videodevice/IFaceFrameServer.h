#pragma once

#include <string>

class IStreamCallback;

/// A source of face pictures beside a live stream, shared by its StreamInfo. Reports the loss of
/// its connection by passing g_faceOnClose to MsgCallback, on a thread of its own. Threads and
/// closing as for IPreviewStreamServer. Slot order is part of the contract.
class IFaceFrameServer {
public:
    virtual ~IFaceFrameServer() = default;

    /// Starts receiving; frames arrive at `sink` under `key`. Must not call the sink.
    virtual int StartFaceFrame(std::string key, int channel, IStreamCallback* sink) = 0;

    /// Stops receiving. Must neither call the sink nor wait for a thread that may be inside it.
    virtual void StopFaceFrame(std::string key) = 0;

    /// Begins to close; repeated calls are harmless.
    virtual void RequestStopGetPreviewStream() = 0;

    /// True once closed: no thread of the source touches the sink any more.
    virtual bool GetCloseGetStreamStatus() = 0;

    virtual std::string GetStreamUri() = 0;
};
