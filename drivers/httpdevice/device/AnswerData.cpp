#include "drivers/httpdevice/device/AnswerData.h"

#include <json/value.h>

#include "drivers/httpdevice/session/AnswerCode.h"
#include "platform/Json.h"

namespace vms::httpdevice {

bool ReadData(const std::string& answer, Json::Value& data) {
    Json::Value root;
    int code = kUnusable;
    if (!ParseJson(answer.c_str(), root) || !ReadInt(root, "code", code) || code != kDone)
        return false;
    data = Member(root, "data");
    return true;
}

}  // namespace vms::httpdevice
