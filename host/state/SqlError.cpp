#include "host/state/SqlError.h"

#include <sqlite3.h>

namespace vms::host {
namespace {

constexpr int kPrimary = 0xff;

/// What a person can do something about is said in plain words.
std::string Words(sqlite3* handle, int code) {
    switch (code & kPrimary) {
        case SQLITE_FULL:
            return "the disk is full, or the state file has reached its bound";
        case SQLITE_BUSY:
            return "another process keeps the state file busy";
        case SQLITE_NOTADB:
        case SQLITE_CORRUPT:
            return "the state file is damaged";
        case SQLITE_READONLY:
            return "the state file cannot be written";
        default:
            return handle != nullptr ? sqlite3_errmsg(handle) : sqlite3_errstr(code);
    }
}

}  // namespace

bool SqlError::IsBusy() const {
    return code_ == SQLITE_BUSY;
}

bool SqlError::IsConstraint() const {
    return code_ == SQLITE_CONSTRAINT;
}

void ThrowSqlError(sqlite3* handle, int code) {
    throw SqlError(code & kPrimary, Words(handle, code));
}

}  // namespace vms::host
