#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "media/unit/MediaHeader.h"

namespace vms {

/// libav's name of a codec; AV_CODEC_ID_NONE for what it has none for.
AVCodecID LibavCodec(MediaCodec codec);

}  // namespace vms
