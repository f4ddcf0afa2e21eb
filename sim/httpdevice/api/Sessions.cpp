#include "sim/httpdevice/api/Sessions.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include <sys/random.h>

#include "sim/httpdevice/api/Sha256.h"

namespace vms::sim::httpdevice {

namespace {

constexpr size_t kMaxPending = 1000;
constexpr size_t kMaxSessions = 10'000;
constexpr std::chrono::seconds kChallengeTime{60};
// No client goes that far; checking the proof of one that did would only hold everybody up.
constexpr int kMaxIterations = 1'000'000;

template <class Map, class Age>
void DropOldest(Map& map, size_t limit, Age age) {
    if (map.size() < limit)
        return;
    map.erase(std::min_element(map.begin(), map.end(), [&](const auto& a, const auto& b) {
        return age(a.second) < age(b.second);
    }));
}

}  // namespace

std::string RandomHex(size_t bytes) {
    std::string random(bytes, '\0');
    // Up to 256 bytes come whole.
    if (getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
        std::abort();
    return ToHex(random);
}

std::string TokenOf(const std::string& value) {
    const size_t equals = value.find('=');
    return equals == std::string::npos ? value : value.substr(equals + 1);
}

Sessions::Sessions(Account account) : account_(std::move(account)), salt_(RandomHex(16)) {}

Challenge Sessions::Issue(Clock::time_point now, int iterations) {
    Challenge challenge{RandomHex(16), RandomHex(16), salt_, iterations, account_.enableIteration};
    MutexLock lock(mutex_);
    DropOldest(pending_, kMaxPending, [](const Pending& entry) { return entry.issued; });
    pending_[challenge.sessionId] = {challenge, now};
    return challenge;
}

std::optional<Challenge> Sessions::TakeChallenge(Clock::time_point now,
                                                 const std::string& sessionId) {
    MutexLock lock(mutex_);
    const auto found = pending_.find(sessionId);
    if (found == pending_.end())
        return std::nullopt;
    const Pending entry = std::move(found->second);
    pending_.erase(found);
    if (now - entry.issued > kChallengeTime)
        return std::nullopt;
    return entry.challenge;
}

ResultCode Sessions::Login(Clock::time_point now, const std::string& sessionId,
                           const std::string& user, const std::string& proof, std::string& token) {
    const auto challenge = TakeChallenge(now, sessionId);
    if (!challenge)
        return ResultCode::kNoChallenge;
    if (user != account_.user || challenge->iterations > kMaxIterations ||
        proof != ExpectedProof(account_.family, user, account_.password, *challenge))
        return ResultCode::kLoginRefused;
    token = RandomHex(16);
    MutexLock lock(mutex_);
    DropOldest(sessions_, kMaxSessions, [](const Session& session) { return session.until; });
    sessions_[token].until = now + account_.sessionTime;
    return ResultCode::kDone;
}

ResultCode Sessions::Check(Clock::time_point now, const std::string& token, bool extend) {
    MutexLock lock(mutex_);
    const auto found = sessions_.find(token);
    if (found == sessions_.end())
        return ResultCode::kNoSession;
    // An expired session stays in the table, so that its owner is told which of the two it is.
    if (now >= found->second.until)
        return ResultCode::kSessionExpired;
    if (extend)
        found->second.until = now + account_.sessionTime;
    return ResultCode::kDone;
}

bool Sessions::Logout(const std::string& token) {
    MutexLock lock(mutex_);
    return sessions_.erase(token) > 0;
}

void Sessions::ExpireAll() {
    MutexLock lock(mutex_);
    for (auto& [token, session] : sessions_)
        session.until = Clock::time_point::min();
}

size_t Sessions::open(Clock::time_point now) const {
    MutexLock lock(mutex_);
    return static_cast<size_t>(
        std::count_if(sessions_.begin(), sessions_.end(),
                      [&](const auto& entry) { return now < entry.second.until; }));
}

void Sessions::SetNonce(const std::string& token, const std::string& nonce) {
    MutexLock lock(mutex_);
    const auto found = sessions_.find(token);
    if (found != sessions_.end())
        found->second.nonce = nonce;
}

ResultCode Sessions::ProveKey(const std::string& token, const std::string& nonce) {
    MutexLock lock(mutex_);
    const auto found = sessions_.find(token);
    if (found == sessions_.end())
        return ResultCode::kNoSession;
    const std::string expected = std::exchange(found->second.nonce, "");
    if (expected.empty() || expected != nonce)
        return ResultCode::kWrongKey;
    found->second.keyProven = true;
    return ResultCode::kDone;
}

bool Sessions::KeyProven(const std::string& token) const {
    MutexLock lock(mutex_);
    const auto found = sessions_.find(token);
    return found != sessions_.end() && found->second.keyProven;
}

}  // namespace vms::sim::httpdevice
