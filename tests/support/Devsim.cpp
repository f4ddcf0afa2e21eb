#include "tests/support/Devsim.h"

#include <json/json.h>

#include <sstream>
#include <stdexcept>

namespace vms::test {
namespace {

std::vector<std::string> CommandLine(const std::vector<std::string>& options) {
    std::vector<std::string> command{DEVSIM_PATH, "onvif"};
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

SimulatedCamera ReadCamera(const Json::Value& json) {
    SimulatedCamera camera{json["name"].asString(),
                           json["address"].asString(),
                           json["port"].asInt(),
                           json["user"].asString(),
                           json["password"].asString(),
                           json["personality"].asString(),
                           {}};
    for (const Json::Value& stream : json["streams"])
        camera.streams.push_back(stream.asString());
    return camera;
}

}  // namespace

Devsim::Devsim(const std::vector<std::string>& options) : process_(CommandLine(options)) {
    std::string line;
    while (process_.ReadLine(line, std::chrono::seconds(60))) {
        Json::Value json;
        std::istringstream(line) >> json;
        if (json.isMember("ready"))
            return;
        cameras_.push_back(ReadCamera(json));
    }
    throw std::runtime_error("devsim did not get ready");
}

}  // namespace vms::test
