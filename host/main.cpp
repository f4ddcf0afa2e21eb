#include <csignal>

#include "host/cli/CommandLine.h"

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    vms::RunCommandLine(argc, argv);
}
