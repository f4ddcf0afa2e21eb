#include "host/auth/AccountTables.h"

#include "host/state/SqlError.h"

namespace vms::host {
namespace {

constexpr int64_t kMostAccounts = 1'000;  ///< users, and tokens

/// A role that this version does not know is none.
Role RoleIn(const std::string& text) {
    return ReadRole(text).value_or(Role::kNone);
}

void RequireChange(SqlConnection& sql, const std::string& what, const std::string& name) {
    if (sql.Changes() == 0)
        throw HostError("there is no " + what + " \"" + name + "\"");
}

/// Runs an insertion whose name may be taken.
template <class Insert>
void AddNew(const std::string& what, const std::string& name, int64_t count, Insert insert) {
    if (count >= kMostAccounts)
        throw HostError("there are 1,000 " + what + "s already");
    try {
        insert();
    } catch (const SqlError& error) {
        if (error.IsConstraint())
            throw HostError("a " + what + " \"" + name + "\" exists already");
        throw;
    }
}

}  // namespace

std::vector<UserRecord> LoadUsers(SqlConnection& sql) {
    SqlStatement all =
        sql.Prepare("SELECT name, role, password, digest, stamp, created FROM users ORDER BY name");
    std::vector<UserRecord> users;
    while (all.Step()) {
        users.push_back({.name = all.Text(0),
                         .role = RoleIn(all.Text(1)),
                         .password = all.Text(2),
                         .digest = all.Blob(3),
                         .stamp = all.Text(4),
                         .created = all.Integer(5)});
    }
    return users;
}

std::vector<TokenRecord> LoadTokens(SqlConnection& sql) {
    SqlStatement all =
        sql.Prepare("SELECT name, role, hash, digest, created, expires FROM tokens ORDER BY name");
    std::vector<TokenRecord> tokens;
    while (all.Step()) {
        tokens.push_back({.name = all.Text(0),
                          .role = RoleIn(all.Text(1)),
                          .hash = all.Blob(2),
                          .digest = all.Blob(3),
                          .created = all.Integer(4),
                          .expires = all.Integer(5)});
    }
    return tokens;
}

std::vector<SessionRecord> LoadSessions(SqlConnection& sql) {
    SqlStatement all = sql.Prepare("SELECT hash, user, stamp, created, used FROM sessions");
    std::vector<SessionRecord> sessions;
    while (all.Step()) {
        sessions.push_back({all.Blob(0), all.Text(1), all.Text(2), all.Integer(3), all.Integer(4)});
    }
    return sessions;
}

void AddUser(SqlConnection& sql, const UserRecord& user) {
    AddNew("user", user.name, sql.Integer("SELECT count(*) FROM users"), [&] {
        sql.Run(
            "INSERT INTO users (name, role, password, digest, stamp, created)"
            " VALUES (?, ?, ?, ?, ?, ?)",
            user.name, RoleName(user.role), user.password, SqlBlob{user.digest}, user.stamp,
            user.created);
    });
}

void ChangeUser(SqlConnection& sql, const UserRecord& user, const std::string& stamp) {
    if (sql.Integer("SELECT count(*) FROM users WHERE name = ?", user.name) == 0)
        throw HostError("there is no user \"" + user.name + "\"");
    sql.Run(
        "UPDATE users SET role = ?, password = ?, digest = ?, stamp = ? WHERE name = ? AND"
        " stamp = ?",
        RoleName(user.role), user.password, SqlBlob{user.digest}, user.stamp, user.name, stamp);
    if (sql.Changes() == 0)
        throw HostError("somebody else has changed the user already");
    RemoveSessionsOf(sql, user.name);
}

void RemoveUser(SqlConnection& sql, const std::string& name) {
    sql.Run("DELETE FROM users WHERE name = ?", name);
    RequireChange(sql, "user", name);
    RemoveSessionsOf(sql, name);
}

void AddToken(SqlConnection& sql, const TokenRecord& token) {
    AddNew("token", token.name, sql.Integer("SELECT count(*) FROM tokens"), [&] {
        sql.Run(
            "INSERT INTO tokens (name, role, hash, digest, created, expires)"
            " VALUES (?, ?, ?, ?, ?, ?)",
            token.name, RoleName(token.role), SqlBlob{token.hash}, SqlBlob{token.digest},
            token.created, token.expires);
    });
}

void RemoveToken(SqlConnection& sql, const std::string& name) {
    sql.Run("DELETE FROM tokens WHERE name = ?", name);
    RequireChange(sql, "token", name);
}

void AddSession(SqlConnection& sql, const SessionRecord& session) {
    sql.Run("INSERT INTO sessions (hash, user, stamp, created, used) VALUES (?, ?, ?, ?, ?)",
            SqlBlob{session.hash}, session.user, session.stamp, session.created, session.used);
}

void TouchSession(SqlConnection& sql, const std::string& hash, int64_t used) {
    sql.Run("UPDATE sessions SET used = max(used, ?) WHERE hash = ?", used, SqlBlob{hash});
}

void RemoveSession(SqlConnection& sql, const std::string& hash) {
    sql.Run("DELETE FROM sessions WHERE hash = ?", SqlBlob{hash});
}

void RemoveSessionsOf(SqlConnection& sql, const std::string& user) {
    sql.Run("DELETE FROM sessions WHERE user = ?", user);
}

void RemoveOldSessions(SqlConnection& sql, int64_t createdBefore, int64_t usedBefore) {
    sql.Run("DELETE FROM sessions WHERE created <= ? OR used <= ?", createdBefore, usedBefore);
}

std::string KeptSetting(SqlConnection& sql, const std::string& name, const std::string& fresh) {
    sql.Run("INSERT OR IGNORE INTO settings (name, value) VALUES (?, ?)", name, fresh);
    SqlStatement kept = sql.Prepare("SELECT value FROM settings WHERE name = ?");
    kept.Bind(name);
    return kept.Step() ? kept.Text(0) : fresh;
}

}  // namespace vms::host
