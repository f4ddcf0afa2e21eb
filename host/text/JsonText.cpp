#include "host/text/JsonText.h"

#include <json/reader.h>
#include <json/writer.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "host/text/HostError.h"

namespace vms::host {
namespace {

constexpr size_t kLargestFile = 16U << 20;

Json::CharReaderBuilder StrictReader() {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["allowComments"] = true;
    return builder;
}

/// The reader's report covers several lines and starts with a bullet; one line is enough.
std::string FirstProblem(const std::string& report) {
    const size_t start = report.find_first_not_of("* \n");
    if (start == std::string::npos)
        return "not JSON";
    const size_t place = report.find('\n', start);
    std::string problem = report.substr(start, place - start);
    if (place != std::string::npos) {
        const size_t text = report.find_first_not_of(" ", place + 1);
        if (text != std::string::npos)
            problem += ": " + report.substr(text, report.find('\n', text) - text);
    }
    return problem;
}

}  // namespace

std::string CompactJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

std::string ReadTextFile(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        throw HostError("cannot read " + path + ": it is a directory");
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw HostError("cannot read " + path + ": " + std::strerror(errno));
    std::string text(kLargestFile + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad())
        throw HostError("cannot read " + path + ": " + std::strerror(errno));
    text.resize(static_cast<size_t>(file.gcount()));
    if (text.size() > kLargestFile)
        throw HostError("cannot read " + path + ": it is larger than 16 MiB");
    return text;
}

Json::Value ReadJsonFile(const std::string& path) {
    const std::string text = ReadTextFile(path);
    const std::unique_ptr<Json::CharReader> reader(StrictReader().newCharReader());
    Json::Value value;
    std::string report;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, &report))
            return value;
    } catch (const Json::Exception& tooDeep) {
        report = tooDeep.what();
    }
    throw HostError(path + ": " + FirstProblem(report));
}

}  // namespace vms::host
