#pragma once

#include <memory>

#include "host/http/HttpRouter.h"
#include "host/players/PlayerContext.h"
#include "host/players/http/Downloads.h"

namespace vms::host {

/// Streams over HTTP by their addresses: /live/DEVICE/CHANNEL.ts, .mp4 and .jpg,
/// /play/DEVICE/CHANNEL.ts and .mp4, and /download/DEVICE/CHANNEL.mp4. Thread-safe.
class HttpPlayers {
public:
    /// @param context must outlive this object @throws std::system_error
    HttpPlayers(PlayerContext& context, const SpoolSettings& spool);

    /// Ends what is left; no request may be under way any more.
    ~HttpPlayers();
    HttpPlayers(const HttpPlayers&) = delete;
    HttpPlayers& operator=(const HttpPlayers&) = delete;

    void AddTo(HttpRouter& router);

    /// Takes nothing from devices any more that no request waits for; to be called before the
    /// server stops.
    void Stop();

private:
    class Impl;
    const std::unique_ptr<Impl> impl_;
};

}  // namespace vms::host
