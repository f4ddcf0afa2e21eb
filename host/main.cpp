#include <malloc.h>

#include <csignal>

#include "host/cli/CommandLine.h"

namespace {

/// Sources, lanes and workers come and go by the dozen; with an arena for each, fragments of freed
/// units pile up for hours. The media path allocates next to nothing, so two arenas do.
void KeepArenasFew() {
    mallopt(M_ARENA_MAX, 2);
}

}  // namespace

int main(int argc, char** argv) {
    KeepArenasFew();
    std::signal(SIGPIPE, SIG_IGN);
    vms::host::RunCommandLine(argc, argv);
}
