#pragma once

#include <string>

#include "media/packet/AdtsHeader.h"
#include "media/rtp/RtpPayloads.h"

namespace vms {

/// G.711 (RFC 3551, 4.5.14), mono.
class G711Payloads final : public RtpPayloads {
public:
    /// @throws MediaError
    explicit G711Payloads(const MediaUnit& first);

    uint32_t Split(const MediaUnit& unit, RtpPayloadSink& sink) override;
    int ClockRate() const override { return rate_; }
    std::string Description() const override { return description_; }

private:
    int rate_ = 0;
    std::string description_;
};

/// AAC whose units are ADTS frames (RFC 3640, mode AAC-hbr), each of which goes at once.
class AacPayloads final : public RtpPayloads {
public:
    /// @throws MediaError
    explicit AacPayloads(const MediaUnit& first);

    uint32_t Split(const MediaUnit& unit, RtpPayloadSink& sink) override;
    int ClockRate() const override { return rate_; }
    std::string Description() const override { return description_; }

private:
    AacConfig config_;
    int rate_ = 0;
    std::string description_;
};

}  // namespace vms
