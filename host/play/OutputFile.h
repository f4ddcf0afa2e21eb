#pragma once

#include <optional>
#include <string>

namespace vms::host {

/// Stands for standard output where the name or path of a file to write is wanted.
inline constexpr const char* kStandardOutput = "-";

/// A file that appears, or is replaced, only as a whole: it is written beside its place, in the
/// same folder, and moved there at the end. What is no regular file (a pipe, a device) is written
/// into as it is. Thread-bound.
class OutputFile {
public:
    /// Touches nothing. @param name also that of a symbolic link, whose target is meant
    /// @throws HostError when it or its folder cannot be written to
    explicit OutputFile(const std::string& name);
    /// Leaves behind what has been written and was not kept, unless that is empty.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// For messages.
    const std::string& Name() const { return name_; }

    /// Makes the file to write into, once. @return its path, or kStandardOutput @throws HostError
    std::string Open();

    /// Puts what has been written in its place; the writer has closed it.
    /// @return false when that is nothing: then the place is as it was @throws HostError
    bool Keep();

    /// Where the written file lies until Keep; nothing when there is none or it is empty.
    std::optional<std::string> Leftover() const;

private:
    const std::string name_;
    std::string place_;
    bool isDirect_ = false;  ///< written into as it is
    std::string written_;    ///< path beside the place; empty = none
};

}  // namespace vms::host
