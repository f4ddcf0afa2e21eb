#pragma once

#include "module/CommandRecord.h"
#include "platform/Export.h"

/// Creates and frees command records. Stateless, thread-safe; null texts count as empty.
class VMS_PLATFORM_API SysCommandHelper {
public:
    /// A new request with a fresh serial: source = sender, deviceId = second, target = fourth.
    /// The caller owns it and frees it with ReleaseCommand.
    static __tagTvCommand* CreateRequestCommand(__enumTvCommand id, const char* sender,
                                                const char* second, const char* body,
                                                const char* fourth);

    /// A new response: routing texts, device identifier and serial of the request, and the given
    /// result and message. The caller owns it. A null request gives empty routing fields.
    static __tagTvCommand* CreateResponseCommand(const __tagTvCommand* request, int result,
                                                 const char* message);

    /// Frees a record made by the two operations above; null is allowed.
    static void ReleaseCommand(__tagTvCommand* command);

    /// The command identifier in a record's serial; 0 for null.
    static __enumTvCommand CommandId(const __tagTvCommand* command);
};

/// For code that has no module, and so no helper member, at hand.
VMS_PLATFORM_API extern SysCommandHelper g_commandHelper;
