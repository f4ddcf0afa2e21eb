#pragma once

#include <string>

#include "host/text/HostError.h"

struct sqlite3;

namespace vms::host {

/// What the state file could not do.
class SqlError : public HostError {
public:
    SqlError(int code, const std::string& text) : HostError(text), code_(code) {}

    /// SQLite's primary result code, such as SQLITE_FULL.
    int Code() const { return code_; }

    /// Another process holds a lock.
    bool IsBusy() const;

    /// The text or blob breaks a rule of its table: the name exists already.
    bool IsConstraint() const;

private:
    int code_;
};

/// Throws the latest failure of a connection. @param handle null = there is none, only the code
[[noreturn]] void ThrowSqlError(sqlite3* handle, int code);

}  // namespace vms::host
