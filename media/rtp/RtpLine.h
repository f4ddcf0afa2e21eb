#pragma once

#include <cstdint>

namespace vms {

/// The times of a stream's units on one line that RTP timestamps are taken from: it goes on where
/// the units' times jump because the source has gone elsewhere or had nothing, and runs at the pace
/// of whoever watches. Thread-bound.
class RtpLine {
public:
    struct Place {
        int64_t us = 0;         ///< on the line
        bool isJump = false;    ///< does not continue what came before
        bool isLeadIn = false;  ///< lies before the time that was asked for
    };

    /// A step back by more, or ahead by more, is a jump; us of the line.
    static constexpr int64_t kBackward = 2'000'000;
    /// What lies before the time that was asked for is needed to decode, but not to be watched: it
    /// takes so much of the line altogether, us.
    static constexpr int64_t kLeadIn = 10'000;

    /// @param forward us of the line
    explicit RtpLine(int64_t forward) : forward_(forward) {}

    /// What comes next has been asked for. @param startMs time of units that the watching begins at
    /// @param scale so many ms of the units pass in one; over 0
    /// @return where on the line that is, us
    int64_t Begin(int64_t startMs, double scale);

    Place Of(uint32_t timestampMs);

    /// Time of the newest unit, ms; timestamps unwrapped.
    int64_t NewestMs() const { return unitMs_; }

private:
    Place Follow();

    const int64_t forward_;
    bool begun_ = false;
    int64_t unitMs_ = 0;  ///< of the newest unit
    // Where the line and the units' times meet:
    int64_t pivotMs_ = 0;
    int64_t pivotUs_ = 0;
    double scale_ = 1;
    int64_t newestUs_ = 0;  ///< of the line
    bool leadsIn_ = false;  ///< nothing of what was asked for has come yet
    int64_t leadInUnits_ = 0;
};

}  // namespace vms
