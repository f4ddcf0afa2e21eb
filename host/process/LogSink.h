#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "platform/ILogHandler.h"
#include "platform/Mutex.h"

namespace spdlog {
class logger;
}

namespace vms::host {

/// Which log lines are printed.
enum class LogPrinting {
    kNothing,
    kWarnings,  ///< warnings and errors: level 2 and above
    kEverything,
};

/// Takes the log lines of modules or of the bus: keeps the latest for error messages and, on
/// demand, prints them to standard error. Every line is one line of printable text, and whatever
/// stands in the place of a password is masked. Thread-safe.
class LogSink final : public ILogHandler {
public:
    static constexpr size_t kKept = 64;           ///< lines
    static constexpr size_t kLongestLine = 8192;  ///< bytes; the rest of a longer one is cut

    /// @param name     shown before each printed line
    /// @param printing which lines go to standard error as they come
    LogSink(const std::string& name, LogPrinting printing);
    ~LogSink();
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;

    void SetLevel(int level) override { level_ = level; }
    void Log(int level, const char* function, const char* format, ...) override
        __attribute__((format(printf, 4, 5)));

    /// The latest line, "" when there was none.
    std::string LastLine() const;

    /// The lines still kept, oldest first.
    std::vector<std::string> Lines() const;

private:
    void Write(int level, const char* function, std::string line);

    const std::shared_ptr<spdlog::logger> printer_;  ///< null = quiet
    std::atomic<int> level_{0};
    mutable Mutex mutex_;
    std::deque<std::string> kept_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
