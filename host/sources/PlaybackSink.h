#pragma once

#include <string>

#include "media/unit/MediaUnit.h"

namespace vms::host {

/// Takes one playback or download. Called by the source, one call at a time; no call may wait.
class PlaybackSink {
public:
    virtual ~PlaybackSink() = default;
    PlaybackSink(const PlaybackSink&) = delete;
    PlaybackSink& operator=(const PlaybackSink&) = delete;

    /// The next unit; none may be left out. Its timestamp counts from the beginning of the range.
    /// @return false when nobody takes it any more
    virtual bool Take(const MediaUnit& unit) = 0;

    /// Units that wait to be sent: above 64 the sources pause. Any thread.
    virtual int QueuedUnits() const = 0;

    /// A message of the source.
    virtual void Tell(const std::string& message) = 0;

    /// Nothing more comes, unless somebody seeks. @param isWhole the range has been played to its
    /// end @param reason ASCII
    virtual void End(bool isWhole, const std::string& reason) = 0;

protected:
    PlaybackSink() = default;
};

}  // namespace vms::host
