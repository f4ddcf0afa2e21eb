#include "videodevice/core/DeviceCommands.h"

#include <list>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "platform/VideoCommandHelper.h"
#include "videodevice/core/Response.h"

namespace vms {

void DeviceCommands::Enqueue(const __tagTvCommand* command) {
    AnswerRequest(context_.bus, command, "", [&](__tagTvCommand& response) {
        std::list<__tagTvVideoParam> descriptions;
        VideoCommandHelper::CommandParse_Video(descriptions, command->body.c_str());
        const size_t count = devices_.Replace(descriptions, context_.factory);
        VMS_LOG(1, "DevicesEnqueue", "dev count=%d", static_cast<int>(count));
        VMS_LOG(1, "DevicesEnqueue", "dev info=%s", command->body.c_str());
        Succeed(response);
    });
}

void DeviceCommands::Dequeue(const __tagTvCommand* command) {
    AnswerRequest(context_.bus, command, "", [&](__tagTvCommand& response) {
        std::list<__tagTvVideoParam> descriptions;
        VideoCommandHelper::CommandParse_Video(descriptions, command->body.c_str());
        // The drivers stay until the sessions have been stopped.
        const DeviceTable::Removal removal = devices_.Remove(descriptions);
        for (const __tagTvVideoParam& description : descriptions)
            eraseSession_(description.id);
        VMS_LOG(1, "DevicesDequeue", "dev count=%d", static_cast<int>(removal.remaining));
        Succeed(response);
    });
}

}  // namespace vms
