#include <malloc.h>

#include <csignal>

#include "host/cli/CommandLine.h"

namespace {

/// Media units are rarely larger.
constexpr int kLargeBlock = 1 << 20;

/// Sources, lanes and workers come and go by the dozen; with an arena for each, fragments of freed
/// units pile up for hours. The media path allocates next to nothing, so two arenas do. Bodies of
/// strangers come in all sizes: large blocks go back to the system as soon as they are free, since
/// a threshold that is set by hand no longer grows with the largest block that was freed.
void TuneHeap() {
    mallopt(M_ARENA_MAX, 2);
    mallopt(M_MMAP_THRESHOLD, kLargeBlock);
    mallopt(M_TRIM_THRESHOLD, kLargeBlock);
}

}  // namespace

int main(int argc, char** argv) {
    TuneHeap();
    std::signal(SIGPIPE, SIG_IGN);
    vms::host::RunCommandLine(argc, argv);
}
