#include "sim/process/JsonLine.h"

#include <json/writer.h>

namespace vms::sim {

std::string JsonLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

}  // namespace vms::sim
