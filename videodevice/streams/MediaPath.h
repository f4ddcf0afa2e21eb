#pragma once

#include <string>

#include "module/CommandRecord.h"
#include "platform/IStreamConnectionController.h"
#include "videodevice/core/ModuleContext.h"
#include "videodevice/streams/FaceReconnect.h"
#include "videodevice/streams/Retirement.h"
#include "videodevice/streams/StreamTable.h"
#include "videodevice/streams/SyncTable.h"

namespace vms {

/// The road from sources to players. Runs on the sources' receive threads, several at once. A unit
/// costs one look-up under a lock and one call per player without it; nothing is allocated.
class MediaPath {
public:
    MediaPath(ModuleContext& context, StreamTable& streams, SyncTable& syncs,
              Retirement& retirement, FaceReconnect& faces)
        : context_(context),
          streams_(streams),
          syncs_(syncs),
          retirement_(retirement),
          faces_(faces) {}

    /// Sends one unit to every player of a stream; a stream without players is retired once it has
    /// been idle for more than 3 s. @return result of the last send, 0 when there was none
    int Deliver(const std::string& key, const char* data, int length);

    /// Keeps a copy of the latest key frame for players that attach later.
    void UpdateKeyFrame(const std::string& key, const char* data, int length);

    /// Units queued for a stream's first player; -1 when there is none.
    int QueryDataCount(const std::string& key);

    /// Relays a message to a stream's players; the face-closed constant gets a new face source.
    void Message(const std::string& key, const char* message);

private:
    int SendToAll(IStreamConnectionController& controller, const StreamFeed& feed, const char* data,
                  int length);
    void RetireIfIdle(const std::string& key, const std::shared_ptr<StreamInfo>& stream,
                      int64_t now);
    void Relay(IStreamConnectionController& controller, const std::string& key,
               const char* message);

    ModuleContext& context_;
    StreamTable& streams_;
    SyncTable& syncs_;
    Retirement& retirement_;
    FaceReconnect& faces_;
};

}  // namespace vms
