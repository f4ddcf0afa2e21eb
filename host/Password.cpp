#include "host/Password.h"

#include <cstdlib>

#include "host/JsonText.h"

namespace vms {

std::string ResolvePassword(const PasswordSource& source) {
    if (source.text)
        return *source.text;
    if (source.file) {
        const std::string content = ReadTextFile(*source.file);
        return content.substr(0, content.find_first_of("\r\n"));
    }
    const char* environment = std::getenv("VMS_PASSWORD");
    return environment != nullptr ? environment : "";
}

}  // namespace vms
