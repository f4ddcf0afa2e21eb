#include "media/LibavLog.h"

extern "C" {
#include <libavutil/log.h>
}

namespace vms {

void SilenceLibav() {
    av_log_set_level(AV_LOG_FATAL);
}

}  // namespace vms
