#pragma once

#include <memory>

#include "host/http/HttpRouter.h"
#include "host/players/PlayerContext.h"
#include "host/players/whep/WhepSettings.h"

namespace vms::host {

/// Live streams over WebRTC by their addresses, asked for with WHEP: POST /whep/DEVICE/CHANNEL, and
/// DELETE of what is answered there. Thread-safe.
class WhepPlayers {
public:
    /// @param context must outlive this object @throws std::system_error
    WhepPlayers(PlayerContext& context, WhepSettings settings);

    /// Waits for what is ending. All players must have left, and no request be under way.
    ~WhepPlayers();
    WhepPlayers(const WhepPlayers&) = delete;
    WhepPlayers& operator=(const WhepPlayers&) = delete;

    void AddTo(HttpRouter& router);

private:
    class Impl;
    const std::unique_ptr<Impl> impl_;
};

}  // namespace vms::host
