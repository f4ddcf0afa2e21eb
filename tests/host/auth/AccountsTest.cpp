#include "host/auth/Accounts.h"

#include "host/auth/AccountTables.h"
#include "tests/host/auth/AuthFixture.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;

class AccountsTest : public test::AuthFixture {
protected:
    AccountsTest() { Open(); }

    Accounts& People() { return doors_->People(); }

    /// Whether the right under which a session runs ends soon.
    static bool Ends(const std::shared_ptr<Grant>& grant) {
        const auto ended = std::make_shared<std::promise<void>>();
        grant->OnEnd(ended, [weak = std::weak_ptr(ended)] { weak.lock()->set_value(); });
        return ended->get_future().wait_for(20s) == std::future_status::ready;
    }
};

TEST_F(AccountsTest, SessionsSurviveARestartAndEndByTime) {
    AddUser("anna", Role::kOperator);
    const std::string idle = BeginSession("anna");
    const std::string used = BeginSession("anna");
    Open();
    ASSERT_TRUE(People().FindSession(idle));
    EXPECT_EQ(People().FindSession(idle)->role, Role::kOperator);
    EXPECT_FALSE(People().FindSession(idle + "x"));
    for (int64_t hours = 0; hours < 160; hours += 8) {
        now_ += 8 * 3600;
        EXPECT_TRUE(People().FindSession(used)) << hours;
    }
    EXPECT_FALSE(People().FindSession(idle));
    const auto grant = People().FindSession(used)->grant;
    now_ += 8 * 3600;
    EXPECT_FALSE(People().FindSession(used)) << "a week is the longest";
    People().Sweep();
    EXPECT_TRUE(grant->HasEnded());
    state_->Data().WriteNow([](SqlConnection& sql) { EXPECT_EQ(LoadSessions(sql).size(), 0U); });
}

TEST_F(AccountsTest, AnotherPasswordOrRoleEndsWhatTheUserHasOpen) {
    AddUser("anna", Role::kAdmin);
    AddUser("bert", Role::kViewer);
    const std::string others = BeginSession("bert");
    for (const Role role : {Role::kOperator, Role::kViewer}) {
        const std::string key = BeginSession("anna");
        const auto session = People().FindSession(key)->grant;
        const auto user = People().IdentityOf("anna")->grant;
        UserRecord changed = *People().FindUser("anna");
        const std::string stamp = std::exchange(changed.stamp, RandomHex(16));
        changed.role = role;
        Wait([&](const Accounts::Done& done) { People().ChangeUser(changed, stamp, done); });
        std::promise<std::string> late;
        People().ChangeUser(changed, stamp, [&late](const auto& told) { late.set_value(told); });
        EXPECT_NE(late.get_future().get(), "") << "it was made for what he was before";
        EXPECT_FALSE(People().FindSession(key));
        EXPECT_TRUE(Ends(session) && Ends(user));
        EXPECT_EQ(People().IdentityOf("anna")->role, role);
    }
    EXPECT_TRUE(People().FindSession(others));
    const std::string key = BeginSession("bert");
    Wait([&](const Accounts::Done& done) { People().EndSessionsOf("bert", done); });
    EXPECT_FALSE(People().FindSession(others) || People().FindSession(key));
    Open();
    EXPECT_FALSE(People().FindSession(others) || People().FindSession(key));
}

TEST_F(AccountsTest, WhatAnotherProcessChangesCountsHere) {
    AddUser("anna", Role::kAdmin);
    const std::string token = AddToken("robot", Role::kViewer);
    const auto session = People().FindSession(BeginSession("anna"))->grant;
    const auto robot = People().FindToken(token)->grant;
    {
        State other(folder_.Path() + "/state");
        other.Data().WriteNow([](SqlConnection& sql) {
            RemoveUser(sql, "anna");
            RemoveToken(sql, "robot");
        });
    }
    EXPECT_TRUE(Ends(session));
    EXPECT_TRUE(Ends(robot));
    EXPECT_FALSE(People().FindUser("anna"));
    EXPECT_FALSE(People().FindToken(token));
}

TEST_F(AccountsTest, TokensExpireAndEndWhatTheyOpened) {
    const std::string token = AddToken("robot", Role::kViewer, now_ + 60);
    const auto grant = People().FindToken(token)->grant;
    now_ += 60;
    EXPECT_FALSE(People().FindToken(token));
    People().Sweep();
    EXPECT_TRUE(grant->HasEnded());
    EXPECT_TRUE(People().AreAny()) << "an expired token does not open the host to everybody";
}

TEST_F(AccountsTest, AUserHasABoundedNumberOfSessions) {
    AddUser("anna", Role::kViewer);
    const std::string first = BeginSession("anna");
    ++now_;
    const std::string second = BeginSession("anna");
    for (size_t i = 0; i + 1 < Accounts::kSessionsOfUser; ++i)
        BeginSession("anna");
    EXPECT_FALSE(People().FindSession(first));
    EXPECT_TRUE(People().FindSession(second));
    Open();
    EXPECT_FALSE(People().FindSession(first));
    EXPECT_TRUE(People().FindSession(second));
}

TEST_F(AccountsTest, ThoseOfTheConfigurationKeepTheirSessionsUntilTheyChange) {
    HostConfig config;
    config.users = {{"anna", Role::kViewer, "password"}};
    Open(config);
    const std::string key = BeginSession("anna");
    Open(config);
    EXPECT_TRUE(People().FindSession(key));
    config.users[0].role = Role::kAdmin;
    Open(config);
    EXPECT_FALSE(People().FindSession(key)) << "with another role he logs in again";
    Open();
    EXPECT_FALSE(People().FindSession(key));
}

TEST_F(AccountsTest, NothingInTheStateFileOpensADoorByItself) {
    AddUser("anna", Role::kAdmin, "pass phrase 77");
    const std::string token = AddToken("robot", Role::kAdmin);
    const std::string key = BeginSession("anna");
    Close();
    std::string content;
    for (const char* const name : {"/state/state.db", "/state/state.db-wal"}) {
        std::stringstream text;
        text << std::ifstream(folder_.Path() + name).rdbuf();
        content += text.str();
    }
    EXPECT_GT(content.size(), 4096U);
    const std::string login = "anna:";
    for (const std::string& secret : {std::string("pass phrase 77"), token, key})
        EXPECT_EQ(content.find(secret), std::string::npos) << secret;
    // Nor what digest access compares with: it is sealed.
    Open();
    const auto digest = doors_->Secrets().OpenDigest(People().FindUser("anna")->digest);
    ASSERT_TRUE(digest);
    EXPECT_EQ(digest->md5, Md5Hex("anna:" + doors_->Secrets().Realm() + ":pass phrase 77"));
    EXPECT_EQ(content.find(digest->md5), std::string::npos);
}

}  // namespace
}  // namespace vms::host
