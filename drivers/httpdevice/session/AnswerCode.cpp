#include "drivers/httpdevice/session/AnswerCode.h"

#include <json/value.h>

#include "platform/Json.h"

namespace vms::httpdevice {

int AnswerCodeOf(const std::string& answer) {
    Json::Value root;
    int code = kUnusable;
    if (ParseJson(answer.c_str(), root))
        ReadInt(root, "code", code);
    return code;
}

}  // namespace vms::httpdevice
