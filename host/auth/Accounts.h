#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/auth/AccountRecords.h"
#include "host/http/Identity.h"
#include "host/state/Database.h"
#include "platform/Mutex.h"

namespace vms::host {

/// Everybody who may come in: users and tokens of configuration and state, and the sessions of
/// users. Kept in memory, so that looking somebody up takes microseconds, and changed only after
/// the database has taken the change, also when another process made it. Whoever loses a right has
/// its Grant ended. Thread-safe.
class Accounts : public std::enable_shared_from_this<Accounts> {
public:
    static constexpr int64_t kIdle = 12 * 3600;         ///< s without a request that end a session
    static constexpr int64_t kLongest = 7 * 24 * 3600;  ///< s after which a session ends
    static constexpr size_t kSessionsOfUser = 64;       ///< the oldest goes

    /// Seconds since the epoch.
    using Clock = std::function<int64_t()>;
    /// Told on the database's thread, or inside the call; "" = done, else why not. Must not wait.
    using Done = std::function<void(const std::string& problem)>;

    /// @param users, tokens of the configuration; they come before those of the state
    /// @param data must outlive this object @throws HostError
    static std::shared_ptr<Accounts> Make(Database& data, const std::vector<UserRecord>& users,
                                          const std::vector<TokenRecord>& tokens, Clock clock);

    Accounts(const Accounts&) = delete;
    Accounts& operator=(const Accounts&) = delete;

    /// Whether there are users or tokens: as long as there are none everybody is welcome.
    bool AreAny() const VMS_EXCLUDES(mutex_);
    /// Whether an admin would be left without that user or token.
    bool IsAdminLeftWithout(const std::string& user, const std::string& token) const
        VMS_EXCLUDES(mutex_);

    std::optional<UserRecord> FindUser(const std::string& name) const VMS_EXCLUDES(mutex_);
    /// The user as an identity, which ends when his password or role changes.
    std::optional<Identity> IdentityOf(const std::string& user) const VMS_EXCLUDES(mutex_);
    /// @param token as it was given out
    std::optional<Identity> FindToken(const std::string& token) const VMS_EXCLUDES(mutex_);
    std::optional<Identity> TokenIdentity(const std::string& name) const VMS_EXCLUDES(mutex_);
    /// Counts as a use of the session. @param key as it was given out
    std::optional<Identity> FindSession(const std::string& key) VMS_EXCLUDES(mutex_);
    /// What everybody is while there are neither users nor tokens; ends with the first.
    std::shared_ptr<Grant> Anonymous() const VMS_EXCLUDES(mutex_);

    std::vector<UserRecord> Users() const VMS_EXCLUDES(mutex_);
    std::vector<TokenRecord> Tokens() const VMS_EXCLUDES(mutex_);  ///< expired ones, too

    void AddUser(const UserRecord& user, Done done);
    /// @param stamp the user's when he was looked up: of two changes at once the second fails
    void ChangeUser(const UserRecord& user, const std::string& stamp, Done done);
    void RemoveUser(const std::string& name, Done done);
    void AddToken(const TokenRecord& token, Done done);
    void RemoveToken(const std::string& name, Done done);

    /// @param key new and secret
    void BeginSession(const UserRecord& user, const std::string& key, Done done);
    void EndSession(const std::string& key, Done done);
    void EndSessionsOf(const std::string& user, Done done);

    /// Ends what has expired. To be called from time to time.
    void Sweep() VMS_EXCLUDES(mutex_);

private:
    Accounts(Database& data, Clock clock) : data_(data), clock_(std::move(clock)) {}

    template <class Record>
    struct Entry {
        Record record;
        std::shared_ptr<Grant> grant = std::make_shared<Grant>();
    };
    struct Session {
        SessionRecord record;
        int64_t written = 0;  ///< `record.used` as the database has it
        std::shared_ptr<Grant> grant = std::make_shared<Grant>();
    };
    using UserMap = std::map<std::string, Entry<UserRecord>>;
    using TokenMap = std::map<std::string, Entry<TokenRecord>>;  ///< by name
    using Sessions = std::map<std::string, Session>;             ///< by hash
    using Grants = std::vector<std::shared_ptr<Grant>>;

    void Change(Database::Write write, std::function<void(Grants&)> apply, Done done);
    void Reload(SqlConnection& sql) VMS_EXCLUDES(mutex_);
    void ReplaceUsers(const std::vector<UserRecord>& users, Grants& ended) VMS_REQUIRES(mutex_);
    void ReplaceTokens(const std::vector<TokenRecord>& tokens, Grants& ended) VMS_REQUIRES(mutex_);
    void ReplaceSessions(std::vector<SessionRecord> sessions, Grants& ended) VMS_REQUIRES(mutex_);
    void PutUser(const UserRecord& user, Grants& ended) VMS_REQUIRES(mutex_);
    void DropUser(const std::string& name, Grants& ended) VMS_REQUIRES(mutex_);
    void PutToken(const TokenRecord& token, Grants& ended) VMS_REQUIRES(mutex_);
    void DropToken(const std::string& name, Grants& ended) VMS_REQUIRES(mutex_);
    void DropSessions(const std::function<bool(const SessionRecord&)>& which, Grants& ended)
        VMS_REQUIRES(mutex_);
    bool IsAlive(const SessionRecord& session, int64_t now) const VMS_REQUIRES(mutex_);
    void Settle(Grants& ended) VMS_REQUIRES(mutex_);
    std::string OldestIfFull(const std::string& user) const VMS_REQUIRES(mutex_);

    Database& data_;
    const Clock clock_;
    mutable Mutex mutex_;
    UserMap users_ VMS_GUARDED_BY(mutex_);
    TokenMap tokens_ VMS_GUARDED_BY(mutex_);
    std::map<std::string, std::string> tokenNames_ VMS_GUARDED_BY(mutex_);  ///< by hash
    Sessions sessions_ VMS_GUARDED_BY(mutex_);
    std::shared_ptr<Grant> anonymous_ VMS_GUARDED_BY(mutex_) = std::make_shared<Grant>();
};

}  // namespace vms::host
