#pragma once

#include <string>

#include "media/rtp/RtpMuxer.h"
#include "media/rtp/RtpPayloads.h"

namespace vms {

/// H.264 (RFC 6184) and H.265 (RFC 7798).
class PicturePayloads final : public RtpPayloads {
public:
    /// @param key brings the parameter sets @throws MediaError
    explicit PicturePayloads(const MediaUnit& key);

    uint32_t Split(const MediaUnit& unit, RtpPayloadSink& sink) override;
    int ClockRate() const override { return 90'000; }
    std::string Description() const override { return muxer_.Description(); }

private:
    RtpMuxer muxer_;
};

}  // namespace vms
