#include "host/state/SqlConnection.h"

#include <sqlite3.h>

#include "host/state/SqlError.h"

namespace vms::host {
namespace {

constexpr char kMemory[] = ":memory:";

sqlite3* Open(const std::string& file, bool mayWrite) {
    int flags = SQLITE_OPEN_NOMUTEX | (mayWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY);
    if (file == kMemory)
        flags |= SQLITE_OPEN_CREATE;
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &handle, flags, nullptr);
    if (code == SQLITE_OK)
        return handle;
    sqlite3_close_v2(handle);
    ThrowSqlError(nullptr, code);
}

/// A statement in use: reset once nobody uses it.
SqlStatement::Handle Borrowed(const std::shared_ptr<sqlite3_stmt>& kept) {
    return {kept.get(), [kept](sqlite3_stmt* statement) {
                sqlite3_reset(statement);
                sqlite3_clear_bindings(statement);
            }};
}

}  // namespace

void SqlConnection::Close::operator()(sqlite3* handle) const {
    sqlite3_close_v2(handle);
}

SqlConnection::SqlConnection(const std::string& file, bool mayWrite)
    : handle_(Open(file, mayWrite)) {
    sqlite3_busy_timeout(handle_.get(), static_cast<int>(kBusy.count()));
    sqlite3_db_config(handle_.get(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
}

SqlStatement SqlConnection::Prepare(const char* sql) {
    const auto kept = statements_.find(std::string_view(sql));
    // One that somebody steps through at the moment is not to be disturbed.
    if (kept != statements_.end() && kept->second.use_count() == 1)
        return SqlStatement(Borrowed(kept->second));
    sqlite3_stmt* statement = nullptr;
    const int code =
        sqlite3_prepare_v3(handle_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (code != SQLITE_OK)
        ThrowSqlError(handle_.get(), code);
    const std::shared_ptr<sqlite3_stmt> owner(statement, sqlite3_finalize);
    if (kept == statements_.end())
        statements_.emplace(sql, owner);
    return SqlStatement(Borrowed(owner));
}

void SqlConnection::RunScript(const char* sql) {
    const int code = sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK)
        ThrowSqlError(handle_.get(), code);
}

int64_t SqlConnection::Changes() const {
    return sqlite3_changes64(handle_.get());
}

bool SqlConnection::InTransaction() const {
    return sqlite3_get_autocommit(handle_.get()) == 0;
}

}  // namespace vms::host
