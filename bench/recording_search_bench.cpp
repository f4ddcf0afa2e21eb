// How long searches take in a channel of many recordings that nobody has looked into yet:
//
//     recording_search_bench SAMPLE.mp4 [10000]
//
// The recordings are hard links to the sample, a minute apart, in a folder of their own that is
// removed at the end.

extern "C" {
#include <libavutil/log.h>
}

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "media/recording/RecordingIndex.h"
#include "media/recording/RecordingName.h"
#include "platform/Guid.h"

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int64_t kFirstMs = 1714521600000;  // 2024-05-01 00:00:00 UTC
constexpr int64_t kMinuteMs = 60'000;

double MsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double ResidentMb() {
    std::ifstream statm("/proc/self/statm");
    double pages = 0;
    statm >> pages >> pages;
    return pages * 4096 / 1e6;
}

class Channel {
public:
    Channel(const fs::path& sample, int count)
        : path_(fs::temp_directory_path() / ("recordings-" + GetGuid())), count_(count) {
        fs::create_directories(path_ / "ch0");
        fs::copy_file(sample, path_ / "sample");
        for (int i = 0; i < count; ++i) {
            const std::string name = vms::TimeText(kFirstMs + i * kMinuteMs) + "_schedule.mp4";
            fs::create_hard_link(path_ / "sample", path_ / "ch0" / name);
        }
    }
    ~Channel() {
        std::error_code error;
        fs::remove_all(path_, error);
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    std::unique_ptr<vms::RecordingIndex> NewIndex() const {
        return std::make_unique<vms::RecordingIndex>(
            path_, std::make_shared<vms::DurationIndex>(),
            std::make_shared<const vms::ContentRoots>(path_));
    }
    int64_t MiddleMs() const { return kFirstMs + count_ / 2 * kMinuteMs; }

private:
    const fs::path path_;
    const int count_;
};

void Print(const char* what, double ms, const vms::RecordingList& found) {
    const auto exact =
        std::count_if(found.begin(), found.end(), [](const vms::Recording& r) { return r.exact; });
    std::printf("%-45s %8.1f ms %7zu found, %7td exact\n", what, ms, found.size(), exact);
}

vms::RecordingList Search(const char* what, const vms::RecordingIndex& index, int64_t beginMs,
                          int64_t endMs) {
    const auto start = Clock::now();
    vms::RecordingList found = index.Find(0, beginMs, endMs, 0);
    Print(what, MsSince(start), found);
    return found;
}

/// Searches all the time until everything is known.
void SearchMeanwhile(const vms::RecordingIndex& index, Clock::time_point start) {
    double longest = 0;
    for (bool all = false; !all;) {
        const auto before = Clock::now();
        const vms::RecordingList found = index.Find(0, 0, 0, 0);
        longest = std::max(longest, MsSince(before));
        all = std::all_of(found.begin(), found.end(),
                          [](const vms::Recording& r) { return r.exact; });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    std::printf("%-45s %8.1f ms\n", "the longest search until all is known", longest);
    std::printf("%-45s %8.1f ms\n", "all known after", MsSince(start));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: recording_search_bench SAMPLE.mp4 [10000]\n");
        return 2;
    }
    av_log_set_level(AV_LOG_QUIET);
    const Channel channel(argv[1], argc > 2 ? std::atoi(argv[2]) : 10'000);
    const int64_t middle = channel.MiddleMs();

    const auto days = channel.NewIndex();
    auto start = Clock::now();
    const size_t count = days->Days(0, 0, 0, 0).size();
    std::printf("%-45s %8.1f ms %7zu found\n", "days", MsSince(start), count);
    Search("fresh, half an hour in the middle", *channel.NewIndex(), middle, middle + 1'800'000);
    Search("fresh, all from the middle", *channel.NewIndex(), middle, 0);
    const auto player = channel.NewIndex();
    start = Clock::now();
    const vms::RecordingList played = player->FindToPlay(0, middle, 0, 0);
    Print("fresh, to play from the middle", MsSince(start), played);

    const double before = ResidentMb();
    const auto index = channel.NewIndex();
    start = Clock::now();
    Search("fresh, all", *index, 0, 0);
    Search("all once more", *index, 0, 0);
    SearchMeanwhile(*index, start);
    Search("all, all known", *index, 0, 0);
    Search("half an hour, all known", *index, middle, middle + 1'800'000);
    std::printf("resident %.1f MB, %.1f MB before\n", ResidentMb(), before);
    return 0;
}
