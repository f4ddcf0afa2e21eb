#pragma once

#include <memory>

#include "host/http/HttpRouter.h"
#include "host/players/PlayerContext.h"

namespace vms::host {

/// Streams over HTTP by their addresses: /live/DEVICE/CHANNEL.ts, .mp4 and .jpg, and
/// /play/DEVICE/CHANNEL.ts and .mp4. Thread-safe.
class HttpPlayers {
public:
    /// @param context must outlive this object @throws std::system_error
    explicit HttpPlayers(PlayerContext& context);

    /// Ends what is left; no request may be under way any more.
    ~HttpPlayers();
    HttpPlayers(const HttpPlayers&) = delete;
    HttpPlayers& operator=(const HttpPlayers&) = delete;

    void AddTo(HttpRouter& router);

private:
    class Impl;
    const std::unique_ptr<Impl> impl_;
};

}  // namespace vms::host
