#pragma once

#include <string>
#include <vector>

#include "host/auth/AccountRecords.h"
#include "host/state/SqlConnection.h"

namespace vms::host {

// Users, tokens, sessions and a few texts of the host's own in the state file. All throw SqlError,
// and those that change something are to be called within a write of the Database.

std::vector<UserRecord> LoadUsers(SqlConnection& sql);
std::vector<TokenRecord> LoadTokens(SqlConnection& sql);
std::vector<SessionRecord> LoadSessions(SqlConnection& sql);

/// @throws HostError "... exists already", or when there are 1,000 already
void AddUser(SqlConnection& sql, const UserRecord& user);
/// Changes role, password and stamp, and ends the user's sessions.
/// @param stamp the user's when he was read: of two changes at once the second fails
/// @throws HostError when there is none, or it is another by now
void ChangeUser(SqlConnection& sql, const UserRecord& user, const std::string& stamp);
/// Removes the user and his sessions. @throws HostError when there is none
void RemoveUser(SqlConnection& sql, const std::string& name);

/// @throws HostError as AddUser
void AddToken(SqlConnection& sql, const TokenRecord& token);
/// @throws HostError when there is none
void RemoveToken(SqlConnection& sql, const std::string& name);

void AddSession(SqlConnection& sql, const SessionRecord& session);
void TouchSession(SqlConnection& sql, const std::string& hash, int64_t used);
void RemoveSession(SqlConnection& sql, const std::string& hash);
void RemoveSessionsOf(SqlConnection& sql, const std::string& user);
/// Removes those that began or were used too long ago.
void RemoveOldSessions(SqlConnection& sql, int64_t createdBefore, int64_t usedBefore);

/// The text of that name; if there is none it becomes `fresh`.
std::string KeptSetting(SqlConnection& sql, const std::string& name, const std::string& fresh);

}  // namespace vms::host
