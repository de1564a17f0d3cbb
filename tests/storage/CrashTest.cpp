// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>

#include "storage/DatabaseManager.h"
#include "storage/StoreTestSupport.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::Sql;
using Rows = std::vector<std::string>;
using SteadyClock = std::chrono::steady_clock;

/// The child process that writes. Killed when it is dropped.
class Writer {
  public:
    Writer(std::string path, std::int64_t first) {
        std::string number = std::to_string(first);
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        out_ = ends[0];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        std::string program = CORVANTA_CRASH_WRITER;
        char* arguments[] = {program.data(), path.data(), number.data(), nullptr};
        const int failure = ::posix_spawn(&pid_, program.c_str(), &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        if (failure != 0) throw std::runtime_error("can't start " + program);
    }
    ~Writer() {
        kill();
        ::close(out_);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// Reads what the writer tells until the moment; false when the writer ends before.
    bool readUntil(SteadyClock::time_point moment) {
        for (;;) {
            const auto left =
                std::chrono::duration_cast<std::chrono::microseconds>(moment - SteadyClock::now());
            if (left.count() <= 0) return true;
            const timespec timeout = {left.count() / 1'000'000, (left.count() % 1'000'000) * 1000};
            pollfd waiting = {out_, POLLIN, 0};
            if (::ppoll(&waiting, 1, &timeout, nullptr) > 0 && !readSome()) return false;
        }
    }

    /// Waits for the first committed row; false when there is none within 20 seconds.
    bool awaitFirstRow() {
        const auto deadline = SteadyClock::now() + std::chrono::seconds(20);
        while (told_.find('\n') == std::string::npos) {
            if (SteadyClock::now() > deadline) return false;
            if (!readUntil(SteadyClock::now() + std::chrono::milliseconds(1))) return false;
        }
        return true;
    }

    /// The status with which the writer ended.
    int kill() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, &status_, 0);
            pid_ = 0;
            while (readSome()) continue;
        }
        return status_;
    }

    /// The rows that it told to be committed. A line that the kill cut short tells nothing.
    std::vector<std::int64_t> committed() const {
        std::vector<std::int64_t> numbers;
        for (std::size_t begin = 0, end; (end = told_.find('\n', begin)) != std::string::npos;
             begin = end + 1) {
            std::int64_t number = 0;
            std::from_chars(told_.data() + begin, told_.data() + end, number);
            numbers.push_back(number);
        }
        return numbers;
    }

  private:
    bool readSome() {
        char buffer[4096];
        const ssize_t size = ::read(out_, buffer, sizeof buffer);
        if (size <= 0) return false;
        told_.append(buffer, static_cast<std::size_t>(size));
        return true;
    }

    int out_ = -1;
    pid_t pid_ = 0;
    int status_ = 0;
    std::string told_;
};

/// What a restart finds in the file of a killed writer.
class StoreCrash : public ::testing::Test {
  protected:
    /// A moment between now and the given time from now.
    SteadyClock::time_point randomMomentWithin(std::chrono::microseconds time) {
        std::uniform_int_distribution<std::int64_t> moments(0, time.count());
        return SteadyClock::now() + std::chrono::microseconds(moments(random_));
    }

    static void expectKilled(Writer& writer) {
        const int status = writer.kill();
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it ended by itself: " << status;
    }

    /// Starts the store again and returns the timestamps in it. All that were committed have to be among
    /// them.
    std::vector<std::int64_t> restart(const std::string& path, const std::vector<std::int64_t>& committed) {
        const DatabaseManager restarted(path, clock_);
        EXPECT_EQ(Sql(path).rows("PRAGMA integrity_check;"), Rows{"ok"});
        EXPECT_EQ(DatabaseManager(path, clock_, StoreAccess::readOnly).state(), StoreState::ready);
        std::vector<std::int64_t> found;
        for (const SystemSnapshot& row : restarted.fetchHistory(test::storeNow)) {
            found.push_back(row.timestamp);
        }
        EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
        EXPECT_TRUE(std::includes(found.begin(), found.end(), committed.begin(), committed.end()))
            << "a row that was committed is gone";
        return found;
    }

    /// The rows that the writer left open are closed as they have to be.
    static void expectRepaired(Sql& sql, std::int64_t first, std::int64_t lastOfHistory) {
        const std::string from = std::to_string(first);
        EXPECT_EQ(sql.row("SELECT (SELECT COUNT(*) FROM sessions WHERE ended_at IS NULL), "
                          "(SELECT COUNT(*) FROM performance_incidents WHERE ended_at IS NULL);"),
                  "0|0");
        EXPECT_EQ(
            sql.rows("SELECT name, ended_at FROM sessions WHERE started_at = " + from + " ORDER BY id;"),
            (Rows{"without samples|" + from, "with samples|" + std::to_string(first + 1)}));
        EXPECT_EQ(sql.rows("SELECT kind, ended_at, recovery_started_at FROM performance_incidents "
                           "WHERE started_at = " +
                           from + " ORDER BY id;"),
                  (Rows{"cpu|" + std::to_string(std::max(first, lastOfHistory)) + "|NULL",
                        "memory|" + std::to_string(first + 1) + "|" + std::to_string(first + 1)}));
    }

    static constexpr std::int64_t firstRow = 1'000'000'000;

    const std::uint32_t seed_ = std::random_device{}();
    const ::testing::ScopedTrace trace_{__FILE__, __LINE__, "seed " + std::to_string(seed_)};
    std::mt19937 random_{seed_};
    const test::TempDirectory folder_;
    test::FakeClock clock_;
    const test::CapturedLog log_;
};

TEST_F(StoreCrash, killedWhileItWritesKeepsEveryCommittedRowAndIsRepaired) {
    const std::string path = folder_.file("history.sqlite");
    std::vector<std::int64_t> committed;
    std::int64_t first = firstRow;
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE("kill " + std::to_string(round));
        Writer writer(path, first);
        ASSERT_TRUE(writer.awaitFirstRow());
        ASSERT_TRUE(writer.readUntil(randomMomentWithin(std::chrono::milliseconds(60))));
        expectKilled(writer);
        const auto told = writer.committed();
        committed.insert(committed.end(), told.begin(), told.end());

        const auto found = restart(path, committed);
        // The kill may come between the commit of a row and the word of it.
        ASSERT_LE(found.size(), committed.size() + static_cast<std::size_t>(round) + 1);
        Sql sql(path);
        expectRepaired(sql, first, found.back());
        if (::testing::Test::HasFailure()) return;
        first = found.back() + 10;
    }
    EXPECT_GE(committed.size(), 200u);
    EXPECT_TRUE(log_.lines().empty());
}

TEST_F(StoreCrash, killedWhileItStartsIsStartedRightTheNextTime) {
    // With a file to bring up to date and to repair, and without any.
    const std::string older = folder_.file("older.sqlite");
    Sql(older).run(test::readFile(CORVANTA_FIXTURES "/storage/history-without-incident-marks.sql"));
    const auto makeFile = [&](const std::string& path, bool isOlder) {
        if (isOlder) std::filesystem::copy_file(older, path);
    };
    // The moments are spread over a start as long as it takes here, and a little longer.
    std::chrono::microseconds spread{0};
    for (const bool isOlder : {false, true}) {
        const std::string path = folder_.file(isOlder ? "measured-older.sqlite" : "measured.sqlite");
        makeFile(path, isOlder);
        const auto begin = SteadyClock::now();
        Writer writer(path, firstRow);
        ASSERT_TRUE(writer.awaitFirstRow());
        const auto took = std::chrono::duration_cast<std::chrono::microseconds>(SteadyClock::now() - begin);
        spread = std::max(spread, took + took / 4);
    }
    int killedBeforeItsRows = 0;
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE("kill " + std::to_string(round));
        const bool isOlder = round % 2 == 1;
        const std::string path = folder_.file(std::to_string(round) + ".sqlite");
        makeFile(path, isOlder);
        const auto moment = randomMomentWithin(spread);
        Writer writer(path, firstRow);
        ASSERT_TRUE(writer.readUntil(moment));
        expectKilled(writer);
        std::vector<std::int64_t> committed = writer.committed();
        const std::size_t told = committed.size();
        if (isOlder) committed.insert(committed.end(), {1799999000, 1799999010});

        const auto found = restart(path, committed);
        ASSERT_LE(found.size(), committed.size() + 1);
        Sql sql(path);
        const bool gotToItsOwnRows =
            sql.row("SELECT COUNT(*) FROM sessions WHERE started_at = " + std::to_string(firstRow) + ";") !=
            "0";
        EXPECT_TRUE(gotToItsOwnRows || told == 0);
        if (!gotToItsOwnRows) ++killedBeforeItsRows;
        if (gotToItsOwnRows) expectRepaired(sql, firstRow, found.empty() ? firstRow : found.back());
        if (isOlder) {
            EXPECT_EQ(
                sql.rows("SELECT name, ended_at FROM sessions WHERE name IN ('open', 'done') ORDER BY id;"),
                (Rows{"open|1799998003", "done|1799990060"}));
            EXPECT_EQ(sql.rows("SELECT ended_at, recovery_started_at FROM performance_incidents "
                               "WHERE started_at > 1700000000 ORDER BY id;"),
                      (Rows{"1799999010|NULL", "1799990200|NULL"}));
        }
        if (::testing::Test::HasFailure()) return;
    }
    EXPECT_GT(killedBeforeItsRows, 0) << "no kill came early enough to test anything";
    EXPECT_TRUE(log_.lines().empty());
}

}  // namespace
}  // namespace corvanta
