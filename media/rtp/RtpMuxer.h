#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

#include <memory>
#include <string>
#include <string_view>

#include "media/rtp/RtpPayloads.h"

namespace vms {

/// libav's RTP muxer with one track. Its packets are taken apart again: sequence, time and source
/// are put in by who sends them. Thread-bound.
class RtpMuxer {
public:
    /// @throws MediaError
    RtpMuxer();
    RtpMuxer(const RtpMuxer&) = delete;
    RtpMuxer& operator=(const RtpMuxer&) = delete;

    /// The track, to be described before Begin.
    AVStream& Track() { return *format_->streams[0]; }

    /// The track's part of an SDP description.
    /// @param payloadType for a codec that has none of its own, 0 = libav's choice
    std::string Description(int payloadType = 0) const;

    /// @throws MediaError
    void Begin();

    /// Splits a picture. @return false when libav does not take it
    bool Split(std::string_view picture, RtpPayloadSink& sink);

private:
    struct FormatDeleter {
        void operator()(AVFormatContext* format) const;
    };

    static int WritePacket(void* self, uint8_t* data, int size);

    std::unique_ptr<AVFormatContext, FormatDeleter> format_;
    RtpPayloadSink* sink_ = nullptr;  ///< while a picture is split
    int64_t pictures_ = 0;
};

}  // namespace vms
