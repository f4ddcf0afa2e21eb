#include "host/auth/Logins.h"

#include <algorithm>
#include <utility>

#include "host/auth/PasswordHash.h"
#include "host/auth/Secrets.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

constexpr std::chrono::seconds kSweep(10);
constexpr size_t kLongestName = 64;

}  // namespace

Logins::Outcome TooOften(std::chrono::seconds wait) {
    return {.status = 429,
            .retryAfter = std::max(wait, std::chrono::seconds(1)),
            .text = "too many attempts; wait a moment"};
}

Logins::Logins(std::shared_ptr<Accounts> accounts, LoginDelays& delays, ILogHandler& log)
    : accounts_(std::move(accounts)),
      delays_(delays),
      log_(log),
      lane_([this] { accounts_->Sweep(); }, kSweep) {}

void Logins::Begin(const std::string& name, const std::string& password, const std::string& address,
                   Done done) {
    // What is too long is nobody's: it is not kept, only as slow as what is wrong.
    if (name.size() > kLongestName || password.size() > kLongestPassword) {
        Begin(name.substr(0, kLongestName), "", address, std::move(done));
        return;
    }
    const std::string group = AddressGroup(address);
    const auto wait = delays_.Wait(group, name, LoginDelays::Clock::now());
    if (wait.count() > 0) {
        done(TooOften(wait));
        return;
    }
    if (!lane_.Post(group,
                    [this, name, password, group, done] { LookAt(name, password, group, done); }))
        done(TooOften({}));
}

bool Logins::PostSlow(const std::string& address, PasswordLane::Job job) {
    return lane_.Post(AddressGroup(address), std::move(job));
}

void Logins::LookAt(const std::string& name, const std::string& password,
                    const std::string& address, const Done& done) {
    const auto wait = delays_.Wait(address, name, LoginDelays::Clock::now());
    if (wait.count() > 0) {
        done(TooOften(wait));
        return;
    }
    const auto user = accounts_->FindUser(name);
    if (!IsPassword(password, user ? user->password : std::string())) {
        delays_.Failed(address, name, LoginDelays::Clock::now());
        log_.Log(2, "Login", "a login from %s is refused%s%s", address.c_str(),
                 user ? ": wrong password of " : ": no such user", user ? name.c_str() : "");
        done({.status = 401, .text = "wrong name or password"});
        return;
    }
    delays_.Succeeded(address, name);
    const std::string key = RandomSecret();
    accounts_->BeginSession(*user, key, [user, key, done](const std::string& problem) {
        if (problem.empty())
            done({.status = 200, .key = key, .identity = {user->name, user->role}});
        else
            done({.status = 503, .text = problem});
    });
}

}  // namespace vms::host
