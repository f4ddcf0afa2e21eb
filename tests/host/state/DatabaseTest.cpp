#include "host/state/Database.h"

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <future>
#include <random>
#include <set>

#include "host/state/SqlError.h"
#include "tests/host/TemporaryFolder.h"
#include "tests/host/state/NumberTable.h"
#include "tests/support/ChildProcess.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using test::kNumberTable;
using testing::HasSubstr;

std::set<int64_t> Numbers(Database& database) {
    std::set<int64_t> numbers;
    database.ReadNow([&numbers](SqlConnection& sql) {
        SqlStatement all = sql.Prepare("SELECT number FROM numbers");
        while (all.Step())
            numbers.insert(all.Integer(0));
    });
    return numbers;
}

Database::Write Insert(int64_t number) {
    return [number](SqlConnection& sql) { sql.Run("INSERT INTO numbers VALUES (?)", number); };
}

/// What opening a folder's state says, "" = nothing.
std::string Problem(const StateFolder& folder,
                    std::span<const Migration> migrations = kNumberTable) {
    try {
        const Database database(&folder, {}, migrations);
        return "";
    } catch (const HostError& error) {
        return error.what();
    }
}

mode_t ModeOf(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? info.st_mode & 0777 : 0;
}

class DatabaseTest : public testing::Test {
protected:
    const test::TemporaryFolder place_;
    const StateFolder folder_{place_.Path() + "/state"};
};

TEST_F(DatabaseTest, KeepsWhatWasWrittenForItsOwnerAlone) {
    {
        Database database(&folder_, {}, kNumberTable);
        database.WriteNow(Insert(1));
        EXPECT_EQ(ModeOf(folder_.Path() + "/state.db-wal"), 0600U);
    }
    Database database(&folder_, {}, kNumberTable);
    EXPECT_EQ(Numbers(database), std::set<int64_t>{1});
    EXPECT_EQ(ModeOf(folder_.Path()), 0700U);
    EXPECT_EQ(ModeOf(folder_.Path() + "/state.db"), 0600U);

    std::filesystem::permissions(folder_.Path(), std::filesystem::perms(0750));
    EXPECT_THROW(StateFolder{folder_.Path()}, HostError);
}

TEST_F(DatabaseTest, AWriteThatFailsTakesNoOtherWithIt) {
    std::promise<void> go;
    std::map<int64_t, std::string> problems;  // told on one thread
    Database database(&folder_, {}, kNumberTable);
    database.Post([&go](SqlConnection&) { go.get_future().wait(); }, [](const std::string&) {});
    for (const int64_t number : {1, 2, 2, 3}) {
        database.Post(Insert(number), [&problems, number](const std::string& problem) {
            problems[number] += problem;
        });
    }
    go.set_value();
    database.WriteNow(Insert(4));
    EXPECT_EQ(Numbers(database), (std::set<int64_t>{1, 2, 3, 4}));
    EXPECT_THAT(problems[2], HasSubstr("UNIQUE"));
    EXPECT_EQ(problems[1] + problems[3], "");
}

TEST_F(DatabaseTest, AFullDiskIsToldAndPassesWhenThereIsRoomAgain) {
    const std::array migrations{Migration{1, "CREATE TABLE texts (text TEXT) STRICT"}};
    DatabaseSettings settings;
    settings.mostPages = 32;
    std::promise<void> go;
    std::vector<std::string> problems;
    Database database(&folder_, settings, migrations);
    const auto insert = [](size_t length) {
        return [length](SqlConnection& sql) {
            sql.Run("INSERT INTO texts VALUES (?)", std::string(length, 'x'));
        };
    };
    // In one transaction: the small ones are kept though the large one between them is not.
    database.Post([&go](SqlConnection&) { go.get_future().wait(); }, [](const std::string&) {});
    for (const size_t length : {10, 1'000'000, 10})
        database.Post(insert(length),
                      [&problems](const std::string& problem) { problems.push_back(problem); });
    go.set_value();
    database.WriteNow([](SqlConnection&) {});
    ASSERT_EQ(problems.size(), 3U);
    EXPECT_THAT(problems[1], HasSubstr("full"));
    EXPECT_EQ(problems[0] + problems[2], "");

    database.WriteNow(insert(90'000));
    EXPECT_THROW(database.WriteNow(insert(90'000)), HostError);
    database.WriteNow([](SqlConnection& sql) { sql.Run("DELETE FROM texts"); });
    EXPECT_NO_THROW(database.WriteNow(insert(90'000)));
}

TEST_F(DatabaseTest, TooManyWaitingWritesAreRefusedAtOnce) {
    DatabaseSettings settings;
    settings.waitingWrites = 2;
    std::promise<void> started;
    std::promise<void> go;
    std::vector<std::string> problems;
    {
        Database database(&folder_, settings, kNumberTable);
        database.Post(
            [&](SqlConnection&) {
                started.set_value();
                go.get_future().wait();
            },
            [](const std::string&) {});
        started.get_future().wait();
        for (const int64_t number : {1, 2, 3})
            database.Post(Insert(number),
                          [&problems](const std::string& told) { problems.push_back(told); });
        EXPECT_EQ(problems.size(), 1U);
        go.set_value();
    }
    Database database(&folder_, {}, kNumberTable);
    EXPECT_EQ(Numbers(database), (std::set<int64_t>{1, 2}));
    EXPECT_EQ(problems.size(), 3U);
}

TEST_F(DatabaseTest, FilesThatCannotBeUsedAreRefusedWithAReason) {
    const std::array newer{kNumberTable[0], Migration{2, "CREATE TABLE more (x) "}};
    EXPECT_EQ(Problem(folder_, newer), "");
    EXPECT_THAT(Problem(folder_), HasSubstr("newer version (2)"));
    EXPECT_EQ(Problem(folder_, newer), "");

    const auto damage = [this](int offset, const std::string& bytes) {
        std::fstream file(folder_.Path() + "/state.db", std::ios::in | std::ios::out);
        file.seekp(offset);
        file << bytes;
    };
    damage(4096, std::string(4096, 'x'));
    EXPECT_THAT(Problem(folder_, newer), HasSubstr("damaged"));
    damage(0, std::string(4096, 'x'));
    EXPECT_THAT(Problem(folder_, newer), HasSubstr("damaged"));
}

TEST_F(DatabaseTest, OlderFilesAreBroughtUpAndAFailedStepChangesNothing) {
    EXPECT_EQ(Problem(folder_), "");
    const std::array broken{kNumberTable[0], Migration{2, "CREATE TABLE more (x); INSERT INTO no"}};
    EXPECT_NE(Problem(folder_, broken), "");
    EXPECT_EQ(Problem(folder_), "");
    const std::array good{kNumberTable[0], Migration{2, "CREATE TABLE more (x)"}};
    Database database(&folder_, {}, good);
    EXPECT_NO_THROW(database.WriteNow([](SqlConnection& sql) {
        sql.Run("INSERT INTO more VALUES (?)", nullptr);
        sql.Run("INSERT INTO numbers VALUES (?)", 7);
    }));
}

TEST_F(DatabaseTest, WatchersHearOfOtherProcessesWrites) {
    DatabaseSettings settings;
    settings.watch = 1ms;
    std::promise<void> came;
    Database database(&folder_, settings, kNumberTable);
    database.Watch([&came, done = false](SqlConnection& sql) mutable {
        if (sql.Integer("SELECT count(*) FROM numbers WHERE number = ?", 5) == 1 &&
            !std::exchange(done, true))
            came.set_value();
    });
    Database other(&folder_, {}, kNumberTable);
    other.WriteNow(Insert(5));
    EXPECT_EQ(came.get_future().wait_for(20s), std::future_status::ready);
}

TEST(Database, WithoutAFolderIsInMemory) {
    Database database(nullptr, {}, kNumberTable);
    database.WriteNow(Insert(3));
    EXPECT_EQ(Numbers(database), std::set<int64_t>{3});
    EXPECT_FALSE(database.Lasts());
}

TEST_F(DatabaseTest, NothingAcknowledgedIsLostWhenKilledAtAnyMoment) {
    std::mt19937 random(1);
    std::set<int64_t> acknowledged;
    for (int round = 0; round < 200; ++round) {
        const int64_t first = acknowledged.empty() ? 1 : *acknowledged.rbegin() + 1'000;
        vms::test::ChildProcess writer({STATE_WRITER, folder_.Path(), std::to_string(first)});
        // From the first words on, after any number of further ones.
        std::string line;
        ASSERT_TRUE(writer.ReadLine(line, 20s));
        acknowledged.insert(std::stoll(line));
        for (auto more = random() % 60; more > 0; --more) {
            ASSERT_TRUE(writer.ReadLine(line, 20s));
            acknowledged.insert(std::stoll(line));
        }
        writer.Signal(SIGKILL);
        ASSERT_EQ(writer.WaitExit(20s), 128 + SIGKILL);
        while (writer.ReadLine(line, 20s))
            acknowledged.insert(std::stoll(line));
        if (round % 20 != 19)
            continue;
        Database database(&folder_, {}, kNumberTable);
        const std::set<int64_t> kept = Numbers(database);
        ASSERT_TRUE(
            std::includes(kept.begin(), kept.end(), acknowledged.begin(), acknowledged.end()))
            << "round " << round;
    }
    EXPECT_GT(acknowledged.size(), 200U);
}

}  // namespace
}  // namespace vms::host
