#include "tests/drivers/httpdevice/HttpDevsim.h"

#include <curl/curl.h>
#include <json/json.h>

#include <memory>
#include <sstream>
#include <stdexcept>

namespace vms::httpdevice {
namespace {

std::vector<std::string> CommandLine(const std::vector<std::string>& options) {
    std::vector<std::string> command{DEVSIM_PATH, "httpdevice", "--media-cache", MEDIA_CACHE};
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

size_t Append(char* data, size_t size, size_t count, void* out) {
    static_cast<std::string*>(out)->append(data, size * count);
    return size * count;
}

}  // namespace

HttpDevsim::HttpDevsim(const std::vector<std::string>& options) : process_(CommandLine(options)) {
    std::string line;
    while (process_.ReadLine(line, std::chrono::seconds(120))) {
        Json::Value json;
        std::istringstream(line) >> json;
        if (json.isMember("ready")) {
            control_ = json["control"].asString();
            return;
        }
        devices_.push_back(json);
    }
    throw std::runtime_error("devsim httpdevice did not get ready");
}

__tagTvVideoParam HttpDevsim::Device(size_t index, bool https) const {
    const Json::Value& json = devices_.at(index);
    __tagTvVideoParam device;
    device.id = "dev" + std::to_string(index);
    device.ip = json["address"].asString();
    device.port = json[https ? "httpsPort" : "port"].asInt();
    device.httpPort = json["port"].asInt();
    device.username = json["user"].asString();
    device.password = json["password"].asString();
    device.httpsEnable = https;
    return device;
}

std::string HttpDevsim::Control(size_t index, const std::string& what,
                                const std::string* body) const {
    const std::unique_ptr<CURL, void (*)(CURL*)> curl(curl_easy_init(), &curl_easy_cleanup);
    const std::string url = control_ + "/devices/" + std::to_string(index) + "/" + what;
    std::string answer;
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 60L);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, &Append);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &answer);
    if (body != nullptr)
        curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body->c_str());
    if (const CURLcode code = curl_easy_perform(curl.get()); code != CURLE_OK)
        throw std::runtime_error(url + ": " + curl_easy_strerror(code));
    return answer;
}

Json::Value HttpDevsim::State(size_t index) const {
    Json::Value state;
    std::istringstream(Control(index, "state", nullptr)) >> state;
    return state;
}

void HttpDevsim::SetFault(size_t index, const std::string& fault) const {
    const std::string body = R"({"set": [")" + fault + R"("]})";
    Control(index, "faults", &body);
}

void HttpDevsim::ClearFaults(size_t index) const {
    const std::string body = R"({"clear": "*"})";
    Control(index, "faults", &body);
}

void HttpDevsim::Drop(size_t index) const {
    const std::string body;
    Control(index, "drop", &body);
}

void HttpDevsim::Expire(size_t index) const {
    const std::string body;
    Control(index, "expire", &body);
}

std::string HttpDevsim::Talk(size_t index, int channel) const {
    return Control(index, "talk/" + std::to_string(channel), nullptr);
}

}  // namespace vms::httpdevice
