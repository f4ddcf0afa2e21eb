#include "host/cli/AccountFile.h"

#include <chrono>

#include "host/config/HostConfig.h"
#include "host/text/HostError.h"

namespace vms::host {
namespace {

std::string FolderIn(const std::string& config) {
    const std::string folder = ReadStateFolder(config);
    if (folder.empty())
        throw HostError(config +
                        ": name a folder for what is to last, such as \"state\": \"state\"");
    return folder;
}

}  // namespace

AccountFile::AccountFile(const std::string& config)
    : state_(FolderIn(config)), credentials_(state_) {}

int64_t TimeNow() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string CheckRole(const std::string& text) {
    return ReadRole(text) ? "" : "a role is viewer, operator or admin";
}

std::string CheckName(const std::string& text) {
    return NameProblem(text);
}

}  // namespace vms::host
