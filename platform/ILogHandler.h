#pragma once

/// The host's log sink. Thread-safe: called from every thread of the modules, must not block for
/// long and must not call back into a module. Slot order is part of the contract.
class ILogHandler {
public:
    /// @param level lowest level that is written, 0..3
    virtual void SetLevel(int level) = 0;

    /// @param level    0 debug, 1 events, 2 warnings, 3 failures
    /// @param function name of the logging function, a literal
    /// @param format   printf format; may carry its own line end
    virtual void Log(int level, const char* function, const char* format, ...)
        __attribute__((format(printf, 4, 5))) = 0;

protected:
    ~ILogHandler() = default;
};
