#pragma once

#include <memory>

#include "platform/SysCommandHelper.h"

namespace vms {

struct CommandDeleter {
    void operator()(__tagTvCommand* record) const { SysCommandHelper::ReleaseCommand(record); }
};

/// A record made by SysCommandHelper, released with its holder.
using CommandPtr = std::unique_ptr<__tagTvCommand, CommandDeleter>;

}  // namespace vms
