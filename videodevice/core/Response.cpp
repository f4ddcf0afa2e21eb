#include "videodevice/core/Response.h"

#include <memory>
#include <utility>

#include "module/ICommandBus.h"
#include "platform/SysCommandHelper.h"
#include "videodevice/core/Guarded.h"

namespace vms {
namespace {

struct ReleaseRecord {
    void operator()(__tagTvCommand* record) const { SysCommandHelper::ReleaseCommand(record); }
};

}  // namespace

void AnswerRequest(ICommandBus* bus, const __tagTvCommand* request, const char* failureText,
                   const std::function<void(__tagTvCommand& response)>& work) {
    const std::unique_ptr<__tagTvCommand, ReleaseRecord> response(
        SysCommandHelper::CreateResponseCommand(request, -1, failureText));
    if (!Guarded("AnswerRequest", [&] { work(*response); })) {
        response->result = -1;
        response->body = failureText;
    }
    PostResponse(bus, response.get());
}

void Succeed(__tagTvCommand& response, std::string body) {
    response.result = 1;
    response.body = std::move(body);
}

void PostResponse(ICommandBus* bus, __tagTvCommand* response) {
    if (bus != nullptr)
        bus->SendResponse(response);
}

}  // namespace vms
