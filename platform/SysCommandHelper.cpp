#include "platform/SysCommandHelper.h"

#include <memory>

#include "platform/bus/CommandSerial.h"

SysCommandHelper g_commandHelper;

namespace {

void Assign(std::string& field, const char* text) {
    field = text == nullptr ? "" : text;
}

}  // namespace

__tagTvCommand* SysCommandHelper::CreateRequestCommand(__enumTvCommand id, const char* sender,
                                                       const char* second, const char* body,
                                                       const char* fourth) {
    auto request = std::make_unique<__tagTvCommand>();
    Assign(request->source, sender);
    Assign(request->deviceId, second);
    Assign(request->body, body);
    Assign(request->target, fourth);
    request->serial = vms::NextSerial(id);
    return request.release();
}

__tagTvCommand* SysCommandHelper::CreateResponseCommand(const __tagTvCommand* request, int result,
                                                        const char* message) {
    auto response = std::make_unique<__tagTvCommand>();
    if (request != nullptr) {
        response->source = request->source;
        response->target = request->target;
        response->session = request->session;
        response->deviceId = request->deviceId;
        response->serial = request->serial;
    }
    Assign(response->body, message);
    response->result = result;
    return response.release();
}

void SysCommandHelper::ReleaseCommand(__tagTvCommand* command) {
    delete command;
}

__enumTvCommand SysCommandHelper::CommandId(const __tagTvCommand* command) {
    return vms::IdOfSerial(command == nullptr ? 0 : command->serial);
}
