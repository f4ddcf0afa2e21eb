#include "sim/process/FileLimit.h"

#include <algorithm>

#include <sys/resource.h>

namespace vms::sim {

size_t RaiseFileLimit(size_t wanted) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 0;
    if (limit.rlim_cur >= wanted)
        return limit.rlim_cur;
    const rlimit raised{std::max<rlim_t>(wanted, limit.rlim_cur),
                        std::max<rlim_t>(wanted, limit.rlim_max)};
    // Raising the hard limit needs privileges; without them the hard limit is what there is.
    if (wanted > limit.rlim_max && setrlimit(RLIMIT_NOFILE, &raised) == 0)
        return wanted;
    limit.rlim_cur = std::min<rlim_t>(wanted, limit.rlim_max);
    return setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : 0;
}

}  // namespace vms::sim
