#include "host/process/LogSink.h"

#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "host/process/SecretMask.h"
#include "host/text/TerminalText.h"

namespace vms::host {
namespace {

std::shared_ptr<spdlog::logger> MakePrinter(const std::string& name, LogPrinting printing) {
    if (printing == LogPrinting::kNothing)
        return nullptr;
    auto printer = std::make_shared<spdlog::logger>(
        name, std::make_shared<spdlog::sinks::stderr_color_sink_mt>());
    printer->set_level(printing == LogPrinting::kWarnings ? spdlog::level::warn
                                                          : spdlog::level::trace);
    printer->set_pattern("%H:%M:%S.%e %^%L%$ %n %v");
    return printer;
}

spdlog::level::level_enum PrintedLevel(int level) {
    if (level <= 0)
        return spdlog::level::debug;
    if (level == 1)
        return spdlog::level::info;
    return level == 2 ? spdlog::level::warn : spdlog::level::err;
}

/// Formats into as much room as the text needs, up to the longest line.
[[gnu::format(printf, 1, 0)]] std::string Format(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    std::string line(256, '\0');
    const int needed = vsnprintf(line.data(), line.size(), format, arguments);
    if (needed >= static_cast<int>(line.size())) {
        line.resize(std::min(static_cast<size_t>(needed), LogSink::kLongestLine) + 1);
        vsnprintf(line.data(), line.size(), format, again);
    }
    va_end(again);
    const int written = static_cast<int>(line.size()) - 1;
    line.resize(static_cast<size_t>(std::clamp(needed, 0, written)));
    return line;
}

}  // namespace

LogSink::LogSink(const std::string& name, LogPrinting printing)
    : printer_(MakePrinter(name, printing)) {}
LogSink::~LogSink() = default;

void LogSink::Log(int level, const char* function, const char* format, ...) {
    if (level < level_ || format == nullptr)
        return;
    va_list arguments;
    va_start(arguments, format);
    std::string line = Format(format, arguments);
    va_end(arguments);
    Write(level, function != nullptr ? function : "", std::move(line));
}

void LogSink::Write(int level, const char* function, std::string line) {
    line.erase(line.find_last_not_of("\r\n") + 1);
    line = Printable(MaskSecrets(line));
    {
        MutexLock lock(mutex_);
        kept_.push_back(line);
        if (kept_.size() > kKept)
            kept_.pop_front();
    }
    if (printer_)
        printer_->log(PrintedLevel(level), "{}: {}", function, line);
}

std::string LogSink::LastLine() const {
    MutexLock lock(mutex_);
    return kept_.empty() ? std::string() : kept_.back();
}

std::vector<std::string> LogSink::Lines() const {
    MutexLock lock(mutex_);
    return {kept_.begin(), kept_.end()};
}

}  // namespace vms::host
