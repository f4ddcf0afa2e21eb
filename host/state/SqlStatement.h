#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

struct sqlite3_stmt;

namespace vms::host {

/// Bytes as a BLOB; texts are bound and read as TEXT.
struct SqlBlob {
    std::string bytes;
};

/// A prepared statement, borrowed from its connection, to which it goes back when this is
/// destroyed. Parameters and columns are counted from 0, in their order in the statement. Every
/// operation throws SqlError. Thread-bound, like its connection, which must outlive it.
class SqlStatement {
public:
    using Handle = std::shared_ptr<sqlite3_stmt>;

    explicit SqlStatement(Handle handle) : handle_(std::move(handle)) {}

    /// Gives the parameters their values: integers, texts, SqlBlob, nullptr.
    template <class... Values>
    SqlStatement& Bind(const Values&... values) {
        int at = 0;
        (BindOne(at++, values), ...);
        return *this;
    }

    /// Goes to the next row. @return false when there is none
    bool Step();

    // Of the current row; NULL is 0 or "".
    int64_t Integer(int column) const;
    std::string Text(int column) const;
    std::string Blob(int column) const;

private:
    template <std::integral Value>
    void BindOne(int at, Value value) {
        BindInteger(at, static_cast<int64_t>(value));
    }
    void BindOne(int at, std::string_view text) { BindText(at, text); }
    void BindOne(int at, const SqlBlob& blob) { BindBlob(at, blob.bytes); }
    void BindOne(int at, std::nullptr_t) { BindNull(at); }

    void BindInteger(int at, int64_t value);
    void BindText(int at, std::string_view text);
    void BindBlob(int at, std::string_view bytes);
    void BindNull(int at);
    void Check(int code) const;

    Handle handle_;
};

}  // namespace vms::host
