#include "host/process/ThreadCheck.h"

#include <latch>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "host/text/HostError.h"

namespace vms::host {

void RequireThreads(size_t count) {
    std::latch enough(1);
    std::vector<std::thread> threads;
    threads.reserve(count);
    std::string problem;
    while (threads.size() < count && problem.empty()) {
        try {
            threads.emplace_back([&enough] { enough.wait(); });
        } catch (const std::system_error& error) {
            problem = error.what();
        }
    }
    enough.count_down();
    for (std::thread& thread : threads)
        thread.join();
    if (!problem.empty())
        throw HostError("too few threads: " + std::to_string(count) +
                        " are needed, the system gives " + std::to_string(threads.size()) + " (" +
                        problem + "); see ulimit -u and the limits of the service or container");
}

}  // namespace vms::host
