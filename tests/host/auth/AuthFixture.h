#pragma once

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>

#include "host/auth/Doors.h"
#include "host/process/LogSink.h"
#include "tests/host/TemporaryFolder.h"

namespace vms::host::test {

/// Doors over a state folder, at a time that the test sets.
class AuthFixture : public testing::Test {
protected:
    /// As a host that starts on the folder.
    void Open(const HostConfig& config = {}) {
        Close();
        DatabaseSettings settings;
        settings.watch = std::chrono::milliseconds(1);
        state_ = std::make_unique<State>(folder_.Path() + "/state", settings);
        doors_ = std::make_unique<Doors>(config, *state_, log_, [this] { return now_.load(); });
    }
    void Close() {
        doors_.reset();
        state_.reset();
    }

    void AddUser(const std::string& name, Role role, const std::string& password = "password") {
        Wait([&](const Accounts::Done& done) {
            doors_->People().AddUser(doors_->Secrets().MakeUser(name, role, password, now_), done);
        });
    }
    std::string AddToken(const std::string& name, Role role, int64_t expires = 0) {
        const std::string secret = RandomSecret();
        Wait([&](const Accounts::Done& done) {
            doors_->People().AddToken(
                doors_->Secrets().MakeToken(name, role, secret, now_, expires), done);
        });
        return secret;
    }
    /// @return the key of the session
    std::string BeginSession(const std::string& name) {
        const std::string key = RandomSecret();
        Wait([&](const Accounts::Done& done) {
            doors_->People().BeginSession(*doors_->People().FindUser(name), key, done);
        });
        return key;
    }

    /// Does something of the accounts' and waits until it is done, well.
    template <class Function>
    static void Wait(Function function) {
        std::promise<std::string> outcome;
        function([&outcome](const std::string& problem) { outcome.set_value(problem); });
        EXPECT_EQ(outcome.get_future().get(), "");
    }

    Logins::Outcome LogIn(const std::string& name, const std::string& password,
                          const std::string& address) {
        std::promise<Logins::Outcome> outcome;
        doors_->Passwords().Begin(name, password, address, [&outcome](const Logins::Outcome& told) {
            outcome.set_value(told);
        });
        return outcome.get_future().get();
    }

    const TemporaryFolder folder_;
    LogSink log_{"test", LogPrinting::kNothing};
    std::atomic<int64_t> now_{1'000'000'000};
    std::unique_ptr<State> state_;
    std::unique_ptr<Doors> doors_;
};

}  // namespace vms::host::test
