#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "host/state/SqlStatement.h"

struct sqlite3;

namespace vms::host {

/// One connection to an SQLite file. Statements are literals with parameters, never built from
/// texts; each is prepared once and kept. Every operation throws SqlError. Thread-bound.
class SqlConnection {
public:
    /// Waits at most this long for another process to end its write.
    static constexpr std::chrono::milliseconds kBusy{5'000};

    /// Opens a file, which must exist, or with ":memory:" makes a database of its own.
    /// @param mayWrite false: reads only
    SqlConnection(const std::string& file, bool mayWrite);
    SqlConnection(const SqlConnection&) = delete;
    SqlConnection& operator=(const SqlConnection&) = delete;

    /// @param sql one statement, which must live as long as this object: a literal
    SqlStatement Prepare(const char* sql);

    /// Prepares, binds and carries out one statement that gives no rows, or whose rows do not
    /// matter.
    template <class... Values>
    void Run(const char* sql, const Values&... values) {
        SqlStatement statement = Prepare(sql);
        statement.Bind(values...);
        while (statement.Step()) {
        }
    }

    /// Carries out any number of statements without parameters.
    void RunScript(const char* sql);

    /// The first column of the first row, 0 = no row.
    template <class... Values>
    int64_t Integer(const char* sql, const Values&... values) {
        SqlStatement statement = Prepare(sql);
        statement.Bind(values...);
        return statement.Step() ? statement.Integer(0) : 0;
    }

    /// Rows that the latest statement inserted, changed or deleted.
    int64_t Changes() const;

    bool InTransaction() const;

private:
    struct Close {
        void operator()(sqlite3* handle) const;
    };

    const std::unique_ptr<sqlite3, Close> handle_;
    /// By text; given back to it when a SqlStatement ends.
    std::map<std::string, std::shared_ptr<sqlite3_stmt>, std::less<>> statements_;
};

}  // namespace vms::host
