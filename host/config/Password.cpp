#include "host/config/Password.h"

#include <cstdlib>

#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "host/text/Utf8.h"

namespace vms::host {
namespace {

/// Passwords travel as JSON text, in which other bytes would become another password.
std::string Checked(const std::string& password, const std::string& source) {
    if (!IsUtf8(password))
        throw HostError("the password in " + source + " is not UTF-8 text");
    return password;
}

std::string FirstLine(const std::string& path) {
    const std::string content = ReadTextFile(path);
    if (content.find('\0') != std::string::npos || !IsUtf8(content))
        throw HostError("the password file " + path + " is not UTF-8 text");
    return content.substr(0, content.find_first_of("\r\n"));
}

}  // namespace

std::string ResolvePassword(const PasswordSource& source) {
    if (source.text)
        return Checked(*source.text, "--password");
    if (source.file)
        return FirstLine(*source.file);
    const char* environment = std::getenv("VMS_PASSWORD");
    return environment != nullptr ? Checked(environment, "VMS_PASSWORD") : "";
}

}  // namespace vms::host
