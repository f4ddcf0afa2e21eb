#pragma once

#include <functional>
#include <string>

#include "module/CommandRecord.h"

class ICommandBus;

namespace vms {

/// Answers a request. The response starts as the failure (-1 and the failure text), `work` turns it
/// into a success, and it is posted once `work` has returned. Whatever `work` throws is logged and
/// ends as the failure.
void AnswerRequest(ICommandBus* bus, const __tagTvCommand* request, const char* failureText,
                   const std::function<void(__tagTvCommand& response)>& work);

/// Turns a response into a success.
void Succeed(__tagTvCommand& response, std::string body = "");

/// Posts a response that somebody else keeps.
void PostResponse(ICommandBus* bus, __tagTvCommand* response);

}  // namespace vms
