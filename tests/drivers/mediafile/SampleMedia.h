#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "media/recording/RecordingIndex.h"

namespace vms::mediafile {

/// The sample device: four channels, 6 s recordings on 1 and 2 May 2024.
std::filesystem::path SampleFolder();
std::shared_ptr<const RecordingIndex> SampleIndex();

inline constexpr int kDay1At10 = 1714557600;   ///< 2024-05-01 10:00:00 UTC
inline constexpr int kDay2At8 = 1714636800;    ///< 2024-05-02 08:00:00 UTC
inline constexpr int kDay2At830 = 1714638600;  ///< 2024-05-02 08:30:00 UTC
inline constexpr int kDay2At9 = 1714640400;    ///< 2024-05-02 09:00:00 UTC
inline constexpr int kSampleSeconds = 6;

/// A folder of a test's own, removed at its end.
class TestFolder {
public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    /// Copies a sample ("ch0/20240502T080000Z_schedule.mp4") to a place below the folder.
    std::filesystem::path Copy(const std::string& sample, const std::string& target) const;
    std::filesystem::path Write(const std::string& target, const std::string& bytes) const;
    std::shared_ptr<const RecordingIndex> Index() const;

private:
    std::filesystem::path path_;
};

std::string ReadBytes(const std::filesystem::path& file);

}  // namespace vms::mediafile
