#include "tests/drivers/mediafile/SampleMedia.h"

extern "C" {
#include <libavutil/log.h>
}

#include <fstream>
#include <sstream>

#include "platform/Guid.h"

namespace fs = std::filesystem;

namespace vms::mediafile {
namespace {

/// Keeps what libav says about damaged files out of the tests' output.
const bool g_quiet = [] {
    av_log_set_level(AV_LOG_QUIET);
    return true;
}();

}  // namespace

fs::path SampleFolder() {
    return SAMPLE_MEDIA_DIR;
}

std::shared_ptr<const RecordingIndex> SampleIndex() {
    static const auto durations = std::make_shared<DurationIndex>();
    static const auto roots = std::make_shared<const ContentRoots>(SampleFolder());
    return std::make_shared<const RecordingIndex>(SampleFolder(), durations, roots);
}

TestFolder::TestFolder() : path_(fs::temp_directory_path() / ("mediafile-" + GetGuid())) {
    fs::create_directories(path_);
}

TestFolder::~TestFolder() {
    std::error_code error;
    fs::remove_all(path_, error);
}

fs::path TestFolder::Copy(const std::string& sample, const std::string& target) const {
    const fs::path to = path_ / target;
    fs::create_directories(to.parent_path());
    fs::copy_file(SampleFolder() / sample, to);
    return to;
}

fs::path TestFolder::Write(const std::string& target, const std::string& bytes) const {
    const fs::path to = path_ / target;
    fs::create_directories(to.parent_path());
    std::ofstream(to, std::ios::binary) << bytes;
    return to;
}

std::shared_ptr<const RecordingIndex> TestFolder::Index() const {
    return std::make_shared<const RecordingIndex>(path_, std::make_shared<DurationIndex>(),
                                                  std::make_shared<const ContentRoots>(path_));
}

std::string ReadBytes(const fs::path& file) {
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return bytes.str();
}

}  // namespace vms::mediafile
