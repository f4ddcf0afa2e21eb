#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace vms::sim::httpdevice {

/// One recorded piece; times in seconds since the epoch.
struct RecordedPiece {
    int64_t start = 0;
    int64_t end = 0;
    int fileType = 1;  ///< 1 schedule, 2 motion, 16 alarm
    int64_t bytes = 0;
};

/// What a channel has recorded: pieces of one length through whole days back from a fixed instant.
/// Nothing is stored; a piece follows from its time, so that a million of them cost nothing. Some
/// days (never the last two) and, on every day, the two hours from 02:00 are empty.
class Timeline {
public:
    struct Plan {
        int64_t until = 0;        ///< end of the last piece, seconds since the epoch
        int days = 3;             ///< 0 = nothing is recorded
        int pieceSeconds = 3600;  ///< divides a day
        int channel = 0;          ///< shifts the empty days and the types
        int64_t bytesPerSecond = 200'000;
    };

    explicit Timeline(const Plan& plan);

    /// Pieces that overlap [start, end) and whose type is in the mask (0 = all), rising. Stops
    /// behind `skip` + `limit` matches; `total` counts all of them.
    std::vector<RecordedPiece> Search(int64_t start, int64_t end, int fileType, size_t skip,
                                      size_t limit, size_t& total) const;

    /// The first recorded instant at or after `milliseconds` and before `endMs`.
    std::optional<int64_t> NextRecorded(int64_t milliseconds, int64_t endMs, int fileType) const;

private:
    bool IsRecorded(int64_t pieceStart) const;
    RecordedPiece PieceAt(int64_t pieceStart) const;
    std::optional<RecordedPiece> Matching(int64_t pieceStart, int fileType) const;

    const Plan plan_;
    const int64_t begin_;
    const int64_t end_;
};

}  // namespace vms::sim::httpdevice
