#include "host/config/Password.h"

#include <iconv.h>

#include <array>
#include <cerrno>
#include <cstdlib>

#include "host/text/HostError.h"
#include "host/text/JsonText.h"

namespace vms::host {
namespace {

/// By the C library's decoder, a piece at a time.
bool IsUtf8(std::string text) {
    const iconv_t decoder = iconv_open("UCS-4", "UTF-8");
    if (decoder == reinterpret_cast<iconv_t>(-1))
        throw HostError("the C library has no decoder for UTF-8");
    std::array<char, 1024> decoded{};
    char* from = text.data();
    size_t left = text.size();
    bool good = true;
    while (good && left > 0) {
        char* to = decoded.data();
        size_t room = decoded.size();
        good =
            iconv(decoder, &from, &left, &to, &room) != static_cast<size_t>(-1) || errno == E2BIG;
    }
    iconv_close(decoder);
    return good;
}

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
