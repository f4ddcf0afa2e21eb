#include "host/api/Metrics.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <initializer_list>

#include "platform/CommandBusStats.h"

namespace vms::host {
namespace {

struct Metric {
    const char* name;  ///< a counter's ends in _total
    const char* help;
    uint64_t value;
};

void Write(std::string& text, const Metric& metric) {
    const std::string name = metric.name;
    const bool counter = name.size() > 6 && name.compare(name.size() - 6, 6, "_total") == 0;
    text += "# HELP " + name + " " + metric.help + "\n# TYPE " + name +
            (counter ? " counter\n" : " gauge\n") + name + " " + std::to_string(metric.value) +
            "\n";
}

void WriteAll(std::string& text, std::initializer_list<Metric> metrics) {
    for (const Metric& metric : metrics)
        Write(text, metric);
}

/// Entries of a folder of /proc/self; 0 when it cannot be read.
uint64_t CountEntries(const char* folder) {
    std::error_code error;
    uint64_t count = 0;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error))
        ++count;
    return count;
}

/// Without the one that counting takes; out of descriptors nothing can be counted.
uint64_t OpenDescriptors() {
    const uint64_t counted = CountEntries("/proc/self/fd");
    return counted == 0 ? 0 : counted - 1;
}

/// Second number of statm (proc(5)) in pages.
uint64_t ResidentBytes() {
    unsigned long long size = 0;
    unsigned long long resident = 0;
    std::FILE* file = std::fopen("/proc/self/statm", "re");
    if (file == nullptr)
        return 0;
    const bool whole = std::fscanf(file, "%llu %llu", &size, &resident) == 2;
    std::fclose(file);
    return whole ? resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE)) : 0;
}

}  // namespace

std::string MetricsText(const StreamSummary& streams) {
    const CommandBusStats bus = GetCommandBusStats();
    std::string text;
    WriteAll(text, {{"vms_players", "Players connected", streams.connected},
                    {"vms_players_total", "Players that ever connected", streams.players},
                    {"vms_player_requests_total", "Requests of players", streams.requests},
                    {"vms_sent_units_total", "Media units sent to players", streams.sentUnits},
                    {"vms_sent_bytes_total", "Bytes sent to players", streams.sentBytes},
                    {"vms_dropped_units_total", "Live media units that slow players did without",
                     streams.droppedUnits},
                    {"vms_slow_players_total", "Players given up for being too slow",
                     streams.slowPlayers}});
    WriteAll(text, {{"vms_bus_requests_total", "Requests the bus accepted", bus.posted},
                    {"vms_bus_refused_total", "Requests the bus turned away", bus.refused},
                    {"vms_bus_threw_total", "Requests whose handler threw", bus.threw},
                    {"vms_bus_responses_total", "Answers accepted", bus.responses},
                    {"vms_bus_expired_total", "Requests never answered", bus.expired},
                    {"vms_bus_workers", "Worker threads", bus.workers},
                    {"vms_bus_queued", "Requests waiting", bus.queued}});
    WriteAll(text, {{"process_resident_memory_bytes", "Resident memory", ResidentBytes()},
                    {"process_open_fds", "Open descriptors", OpenDescriptors()},
                    {"process_threads", "Threads", CountEntries("/proc/self/task")}});
    return text;
}

}  // namespace vms::host
