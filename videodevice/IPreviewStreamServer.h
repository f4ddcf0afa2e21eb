#pragma once

#include <string>

class IStreamCallback;

/// A live source, made by the device factory for one stream and owned by its StreamInfo. Called by
/// bus, timer and receive threads, possibly at once. Closes asynchronously: stop, ask until closed,
/// then destroy. Slot order is part of the contract.
class IPreviewStreamServer {
public:
    virtual ~IPreviewStreamServer() = default;

    /// Starts pulling media and returns; units arrive at `sink` under `key`.
    /// @param sink not owned, outlives the source
    virtual int StartPreview(std::string key, int channel, int streamType,
                             IStreamCallback* sink) = 0;

    /// Stops pulling. Must neither call the sink nor wait for a thread that may be inside it.
    virtual void StopPreview(std::string key) = 0;

    /// Begins to close; repeated calls are harmless.
    virtual void RequestStopGetPreviewStream() = 0;

    /// True once closed: no thread of the source touches the sink any more.
    virtual bool GetCloseGetStreamStatus() = 0;

    /// Key under which players find the stream, usually the one given to StartPreview.
    virtual std::string GetStreamUri() = 0;

    /// Audio encoding the device expects for talk (audio codec code of media units).
    virtual int GetTalkEncodeType() = 0;
};
