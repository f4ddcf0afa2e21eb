#pragma once

#include "module/StreamServerParam.h"
#include "videodevice/core/ModuleContext.h"

namespace vms {

/// Reads a module's configuration. Members that are absent or of another type, and all of them when
/// the text is not JSON, leave `server` empty and `types` as they are.
void ReadModuleConfig(const char* config, __tagTvStreamServerParam& server, StreamTypes& types);

}  // namespace vms
