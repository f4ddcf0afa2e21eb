#include "host/text/Output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/text/HostError.h"

namespace vms::host {

void PrintLine(const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    if (std::fflush(stdout) != 0)
        throw HostError(std::string("cannot write the output: ") + std::strerror(errno));
}

void PrintError(const std::string& text) {
    std::fprintf(stderr, "vmshost: %s\n", text.c_str());
}

}  // namespace vms::host
