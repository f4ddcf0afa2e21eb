#include "host/state/SqlStatement.h"

#include <sqlite3.h>

#include "host/state/SqlError.h"

namespace vms::host {

void SqlStatement::Check(int code) const {
    if (code != SQLITE_OK)
        ThrowSqlError(sqlite3_db_handle(handle_.get()), code);
}

void SqlStatement::BindInteger(int at, int64_t value) {
    Check(sqlite3_bind_int64(handle_.get(), at + 1, value));
}

void SqlStatement::BindText(int at, std::string_view text) {
    Check(sqlite3_bind_text64(handle_.get(), at + 1, text.data() == nullptr ? "" : text.data(),
                              text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

void SqlStatement::BindBlob(int at, std::string_view bytes) {
    Check(sqlite3_bind_blob64(handle_.get(), at + 1, bytes.data() == nullptr ? "" : bytes.data(),
                              bytes.size(), SQLITE_TRANSIENT));
}

void SqlStatement::BindNull(int at) {
    Check(sqlite3_bind_null(handle_.get(), at + 1));
}

bool SqlStatement::Step() {
    const int code = sqlite3_step(handle_.get());
    if (code != SQLITE_ROW && code != SQLITE_DONE)
        ThrowSqlError(sqlite3_db_handle(handle_.get()), code);
    return code == SQLITE_ROW;
}

int64_t SqlStatement::Integer(int column) const {
    return sqlite3_column_int64(handle_.get(), column);
}

std::string SqlStatement::Text(int column) const {
    const auto* const text =
        reinterpret_cast<const char*>(sqlite3_column_text(handle_.get(), column));
    return text == nullptr
               ? std::string()
               : std::string(text,
                             static_cast<size_t>(sqlite3_column_bytes(handle_.get(), column)));
}

std::string SqlStatement::Blob(int column) const {
    const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(handle_.get(), column));
    return bytes == nullptr
               ? std::string()
               : std::string(bytes,
                             static_cast<size_t>(sqlite3_column_bytes(handle_.get(), column)));
}

}  // namespace vms::host
