#include "tests/drivers/mediafile/SampleMedia.h"

#include <fstream>
#include <iterator>

#include "platform/Guid.h"

namespace fs = std::filesystem;

namespace vms::mediafile {

fs::path SampleFolder() {
    return SAMPLE_MEDIA_DIR;
}

std::shared_ptr<const RecordingIndex> SampleIndex() {
    static const auto cache = std::make_shared<ProbeCache>();
    return std::make_shared<const RecordingIndex>(SampleFolder(), cache);
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
    return std::make_shared<const RecordingIndex>(path_, std::make_shared<ProbeCache>());
}

std::string ReadBytes(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace vms::mediafile
