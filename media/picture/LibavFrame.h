#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>

namespace vms {

struct FrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using CodecPtr = std::unique_ptr<AVCodecContext, FrameDeleter>;

}  // namespace vms
