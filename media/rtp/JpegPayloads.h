#pragma once

#include <memory>
#include <optional>
#include <string>

#include "media/rtp/RtpMuxer.h"
#include "media/rtp/RtpPayloads.h"

namespace vms {

/// JPEG (RFC 2435): baseline pictures of three components up to 2040 pixels wide and high. The
/// format has no room for Huffman tables, restart markers and tables that are shared: such pictures
/// are coded anew, without loss.
class JpegPayloads final : public RtpPayloads {
public:
    /// @throws MediaError
    explicit JpegPayloads(const MediaUnit& first);

    uint32_t Split(const MediaUnit& unit, RtpPayloadSink& sink) override;
    int ClockRate() const override { return 90'000; }
    std::string Description() const override { return description_; }

private:
    /// What the muxer must know of a picture.
    struct Kind {
        int width = 0;
        int height = 0;
        bool isHalved = false;  ///< colour in half the lines only

        bool operator==(const Kind&) const = default;
    };

    /// @return nothing when it cannot travel; `problem` says why
    std::optional<Kind> KindOf(std::string_view picture, std::string& problem) const;
    void Begin(const Kind& kind);

    /// The picture as it can travel. @return nothing when it cannot
    std::optional<std::string_view> Fitting(std::string_view picture, std::string& problem);

    Kind kind_;
    bool rewrites_ = false;
    std::string rewritten_;  ///< what a picture has become
    std::unique_ptr<RtpMuxer> muxer_;
    std::string description_;
};

}  // namespace vms
