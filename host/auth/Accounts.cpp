#include "host/auth/Accounts.h"

#include <algorithm>
#include <set>
#include <utility>

#include "host/auth/AccountTables.h"
#include "host/auth/Secrets.h"

namespace vms::host {
namespace {

constexpr int64_t kTouch = 300;  ///< s; a session's use is written no more often

template <class Records>
std::set<std::string> NamesOf(const Records& records) {
    std::set<std::string> names;
    for (const auto& record : records)
        names.insert(record.name);
    return names;
}

/// The names of those of the state that are not among these.
template <class Map>
std::vector<std::string> Missing(const Map& known, const std::set<std::string>& names) {
    std::vector<std::string> missing;
    for (const auto& [name, entry] : known) {
        if (!entry.record.isConfigured && names.count(name) == 0)
            missing.push_back(name);
    }
    return missing;
}

}  // namespace

std::shared_ptr<Accounts> Accounts::Make(Database& data, const std::vector<UserRecord>& users,
                                         const std::vector<TokenRecord>& tokens, Clock clock) {
    const std::shared_ptr<Accounts> accounts(new Accounts(data, std::move(clock)));
    {
        Grants none;
        MutexLock lock(accounts->mutex_);
        for (const UserRecord& user : users)
            accounts->PutUser(user, none);
        for (const TokenRecord& token : tokens)
            accounts->PutToken(token, none);
    }
    data.Watch([weak = std::weak_ptr<Accounts>(accounts)](SqlConnection& sql) {
        if (const auto self = weak.lock())
            self->Reload(sql);
    });
    accounts->Sweep();
    return accounts;
}

bool Accounts::AreAny() const {
    MutexLock lock(mutex_);
    return !users_.empty() || !tokens_.empty();
}

bool Accounts::IsAdminLeftWithout(const std::string& user, const std::string& token) const {
    const auto isAdmin = [now = clock_()](const auto& entry, const std::string& without) {
        const auto& record = entry.second.record;
        if constexpr (requires { record.expires; }) {
            if (record.expires != 0 && record.expires <= now)
                return false;
        }
        return entry.first != without && record.role == Role::kAdmin;
    };
    MutexLock lock(mutex_);
    return std::any_of(users_.begin(), users_.end(),
                       [&](const auto& entry) { return isAdmin(entry, user); }) ||
           std::any_of(tokens_.begin(), tokens_.end(),
                       [&](const auto& entry) { return isAdmin(entry, token); });
}

std::optional<UserRecord> Accounts::FindUser(const std::string& name) const {
    MutexLock lock(mutex_);
    const auto found = users_.find(name);
    return found == users_.end() ? std::nullopt : std::optional(found->second.record);
}

std::optional<Identity> Accounts::IdentityOf(const std::string& user) const {
    MutexLock lock(mutex_);
    const auto found = users_.find(user);
    if (found == users_.end())
        return std::nullopt;
    return Identity{user, found->second.record.role, found->second.grant};
}

std::optional<Identity> Accounts::FindToken(const std::string& token) const {
    const std::string hash = Sha256(token);
    std::string name;
    {
        MutexLock lock(mutex_);
        const auto found = tokenNames_.find(hash);
        if (found == tokenNames_.end())
            return std::nullopt;
        name = found->second;
    }
    return TokenIdentity(name);
}

std::optional<Identity> Accounts::TokenIdentity(const std::string& name) const {
    MutexLock lock(mutex_);
    const auto found = tokens_.find(name);
    if (found == tokens_.end())
        return std::nullopt;
    const TokenRecord& token = found->second.record;
    if (token.expires != 0 && token.expires <= clock_())
        return std::nullopt;
    return Identity{name, token.role, found->second.grant};
}

std::optional<Identity> Accounts::FindSession(const std::string& key) {
    const std::string hash = Sha256(key);
    const int64_t now = clock_();
    Identity identity;
    {
        MutexLock lock(mutex_);
        const auto found = sessions_.find(hash);
        if (found == sessions_.end() || !IsAlive(found->second.record, now))
            return std::nullopt;
        Session& session = found->second;
        const auto user = users_.find(session.record.user);
        identity = {user->first, user->second.record.role, session.grant};
        session.record.used = now;
        if (now - session.written < kTouch)
            return identity;
        session.written = now;
    }
    data_.Post([hash, now](SqlConnection& sql) { TouchSession(sql, hash, now); },
               [](const std::string&) {});
    return identity;
}

std::shared_ptr<Grant> Accounts::Anonymous() const {
    MutexLock lock(mutex_);
    return anonymous_;
}

std::vector<UserRecord> Accounts::Users() const {
    MutexLock lock(mutex_);
    std::vector<UserRecord> users;
    for (const auto& [name, entry] : users_)
        users.push_back(entry.record);
    return users;
}

std::vector<TokenRecord> Accounts::Tokens() const {
    MutexLock lock(mutex_);
    std::vector<TokenRecord> tokens;
    for (const auto& [name, entry] : tokens_)
        tokens.push_back(entry.record);
    return tokens;
}

/// What the database has taken is taken over here, and only then told.
void Accounts::Change(Database::Write write, std::function<void(Grants&)> apply, Done done) {
    data_.Post(std::move(write), [self = shared_from_this(), apply = std::move(apply),
                                  done = std::move(done)](const std::string& problem) {
        Grants ended;
        if (problem.empty()) {
            MutexLock lock(self->mutex_);
            apply(ended);
            self->Settle(ended);
        }
        for (const auto& grant : ended)
            grant->End();
        done(problem);
    });
}

void Accounts::AddUser(const UserRecord& user, Done done) {
    if (FindUser(user.name)) {
        done("a user \"" + user.name + "\" exists already");
        return;
    }
    Change([user](SqlConnection& sql) { host::AddUser(sql, user); },
           [this, user](Grants& ended) VMS_NO_THREAD_SAFETY_ANALYSIS { PutUser(user, ended); },
           std::move(done));
}

void Accounts::ChangeUser(const UserRecord& user, const std::string& stamp, Done done) {
    Change([user, stamp](SqlConnection& sql) { host::ChangeUser(sql, user, stamp); },
           [this, user](Grants& ended) VMS_NO_THREAD_SAFETY_ANALYSIS { PutUser(user, ended); },
           std::move(done));
}

void Accounts::RemoveUser(const std::string& name, Done done) {
    Change([name](SqlConnection& sql) { host::RemoveUser(sql, name); },
           [this, name](Grants& ended) VMS_NO_THREAD_SAFETY_ANALYSIS { DropUser(name, ended); },
           std::move(done));
}

void Accounts::AddToken(const TokenRecord& token, Done done) {
    if (const auto tokens = Tokens();
        std::any_of(tokens.begin(), tokens.end(),
                    [&token](const TokenRecord& one) { return one.name == token.name; })) {
        done("a token \"" + token.name + "\" exists already");
        return;
    }
    Change([token](SqlConnection& sql) { host::AddToken(sql, token); },
           [this, token](Grants& ended) VMS_NO_THREAD_SAFETY_ANALYSIS { PutToken(token, ended); },
           std::move(done));
}

void Accounts::RemoveToken(const std::string& name, Done done) {
    Change([name](SqlConnection& sql) { host::RemoveToken(sql, name); },
           [this, name](Grants& ended) VMS_NO_THREAD_SAFETY_ANALYSIS { DropToken(name, ended); },
           std::move(done));
}

void Accounts::BeginSession(const UserRecord& user, const std::string& key, Done done) {
    const int64_t now = clock_();
    const SessionRecord session{Sha256(key), user.name, user.stamp, now, now};
    std::string oldest;
    {
        MutexLock lock(mutex_);
        oldest = OldestIfFull(user.name);
    }
    Change(
        [session, oldest](SqlConnection& sql) {
            AddSession(sql, session);
            host::RemoveSession(sql, oldest);
        },
        [this, session, oldest](Grants& ended) VMS_NO_THREAD_SAFETY_ANALYSIS {
            sessions_[session.hash] = {session, session.used};
            DropSessions([&oldest](const auto& one) { return one.hash == oldest; }, ended);
        },
        std::move(done));
}

void Accounts::EndSession(const std::string& key, Done done) {
    const std::string hash = Sha256(key);
    Change([hash](SqlConnection& sql) { host::RemoveSession(sql, hash); },
           [this, hash](Grants& ended) VMS_NO_THREAD_SAFETY_ANALYSIS {
               DropSessions([&hash](const auto& one) { return one.hash == hash; }, ended);
           },
           std::move(done));
}

void Accounts::EndSessionsOf(const std::string& user, Done done) {
    Change([user](SqlConnection& sql) { RemoveSessionsOf(sql, user); },
           [this, user](Grants& ended) VMS_NO_THREAD_SAFETY_ANALYSIS {
               DropSessions([&user](const auto& one) { return one.user == user; }, ended);
           },
           std::move(done));
}

void Accounts::Sweep() {
    const int64_t now = clock_();
    Grants ended;
    bool anySession = false;
    {
        MutexLock lock(mutex_);
        const size_t before = sessions_.size();
        DropSessions([](const auto&) { return false; }, ended);  // those that are dead
        anySession = sessions_.size() != before;
        for (const auto& [name, entry] : tokens_) {
            if (entry.record.expires != 0 && entry.record.expires <= now)
                ended.push_back(entry.grant);
        }
    }
    for (const auto& grant : ended)
        grant->End();
    if (anySession) {
        data_.Post(
            [now](SqlConnection& sql) {
                // Uses are written late, so idle ones are given a little longer.
                RemoveOldSessions(sql, now - kLongest, now - kIdle - 2 * kTouch);
            },
            [](const std::string&) {});
    }
}

void Accounts::Reload(SqlConnection& sql) {
    const std::vector<UserRecord> users = LoadUsers(sql);
    const std::vector<TokenRecord> tokens = LoadTokens(sql);
    std::vector<SessionRecord> sessions = LoadSessions(sql);
    Grants ended;
    {
        MutexLock lock(mutex_);
        ReplaceUsers(users, ended);
        ReplaceTokens(tokens, ended);
        ReplaceSessions(std::move(sessions), ended);
        Settle(ended);
    }
    for (const auto& grant : ended)
        grant->End();
}

void Accounts::ReplaceUsers(const std::vector<UserRecord>& users, Grants& ended) {
    for (const std::string& name : Missing(users_, NamesOf(users)))
        DropUser(name, ended);
    for (const UserRecord& user : users)
        PutUser(user, ended);
}

void Accounts::ReplaceTokens(const std::vector<TokenRecord>& tokens, Grants& ended) {
    for (const std::string& name : Missing(tokens_, NamesOf(tokens)))
        DropToken(name, ended);
    for (const TokenRecord& token : tokens)
        PutToken(token, ended);
}

void Accounts::ReplaceSessions(std::vector<SessionRecord> sessions, Grants& ended) {
    std::set<std::string> hashes;
    for (SessionRecord& session : sessions) {
        hashes.insert(session.hash);
        if (sessions_.count(session.hash) == 0) {
            const std::string hash = session.hash;
            const int64_t used = session.used;
            sessions_[hash] = {std::move(session), used};
        }
    }
    DropSessions([&hashes](const auto& one) { return hashes.count(one.hash) == 0; }, ended);
}

/// Those of the configuration stay as they are.
void Accounts::PutUser(const UserRecord& user, Grants& ended) {
    const auto known = users_.find(user.name);
    if (known == users_.end()) {
        users_[user.name] = {user};
        return;
    }
    if (known->second.record.isConfigured)
        return;
    if (known->second.record.stamp != user.stamp)
        ended.push_back(std::exchange(known->second.grant, std::make_shared<Grant>()));
    known->second.record = user;
}

void Accounts::DropUser(const std::string& name, Grants& ended) {
    const auto known = users_.find(name);
    if (known == users_.end() || known->second.record.isConfigured)
        return;
    ended.push_back(known->second.grant);
    users_.erase(known);
}

void Accounts::PutToken(const TokenRecord& token, Grants& ended) {
    const auto known = tokens_.find(token.name);
    if (known != tokens_.end()) {
        if (known->second.record.isConfigured || known->second.record.hash == token.hash)
            return;
        DropToken(token.name, ended);
    }
    tokens_[token.name] = {token};
    tokenNames_[token.hash] = token.name;
}

void Accounts::DropToken(const std::string& name, Grants& ended) {
    const auto known = tokens_.find(name);
    if (known == tokens_.end() || known->second.record.isConfigured)
        return;
    ended.push_back(known->second.grant);
    tokenNames_.erase(known->second.record.hash);
    tokens_.erase(known);
}

/// Those asked for and those that are dead.
void Accounts::DropSessions(const std::function<bool(const SessionRecord&)>& which, Grants& ended) {
    const int64_t now = clock_();
    for (auto one = sessions_.begin(); one != sessions_.end();) {
        if (which(one->second.record) || !IsAlive(one->second.record, now)) {
            ended.push_back(one->second.grant);
            one = sessions_.erase(one);
        } else {
            ++one;
        }
    }
}

bool Accounts::IsAlive(const SessionRecord& session, int64_t now) const {
    const auto user = users_.find(session.user);
    return user != users_.end() && user->second.record.stamp == session.stamp &&
           now - session.created < kLongest && now - session.used < kIdle;
}

/// Sessions of users who are gone or have changed end; so does being let in as nobody.
void Accounts::Settle(Grants& ended) {
    DropSessions([](const auto&) { return false; }, ended);
    if ((!users_.empty() || !tokens_.empty()) && !anonymous_->HasEnded())
        ended.push_back(anonymous_);
    else if (users_.empty() && tokens_.empty() && anonymous_->HasEnded())
        anonymous_ = std::make_shared<Grant>();
}

/// The hash of the session that has to go for a new one, "" = none.
std::string Accounts::OldestIfFull(const std::string& user) const {
    size_t count = 0;
    const SessionRecord* oldest = nullptr;
    for (const auto& [hash, session] : sessions_) {
        if (session.record.user != user)
            continue;
        ++count;
        if (oldest == nullptr || session.record.used < oldest->used)
            oldest = &session.record;
    }
    return count < kSessionsOfUser || oldest == nullptr ? std::string() : oldest->hash;
}

}  // namespace vms::host
