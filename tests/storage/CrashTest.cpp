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

/// What every row that was left open has to be closed with. None of the rows is older than this writer's.
void expectRepaired(Sql& sql, std::int64_t first, std::int64_t last) {
    const std::string from = std::to_string(first);
    EXPECT_EQ(sql.row("SELECT (SELECT COUNT(*) FROM sessions WHERE ended_at IS NULL), "
                      "(SELECT COUNT(*) FROM performance_incidents WHERE ended_at IS NULL);"),
              "0|0");
    EXPECT_EQ(sql.rows("SELECT name, ended_at FROM sessions WHERE started_at = " + from + " ORDER BY id;"),
              (Rows{"without samples|" + from, "with samples|" + std::to_string(first + 1)}));
    EXPECT_EQ(
        sql.rows("SELECT kind, ended_at, recovery_started_at FROM performance_incidents WHERE started_at = " +
                 from + " ORDER BY id;"),
        (Rows{"cpu|" + std::to_string(last) + "|NULL",
              "memory|" + std::to_string(first + 1) + "|" + std::to_string(first + 1)}));
}

TEST(StoreCrash, killedAtAnyMomentKeepsEveryCommittedRowAndIsRepaired) {
    const std::uint32_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> moments(0, 60'000);

    const test::TempDirectory folder;
    const std::string path = folder.file("history.sqlite");
    const test::FakeClock clock;
    const test::CapturedLog log;
    std::vector<std::int64_t> committed;
    std::int64_t first = 1'000'000'000;
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE("kill " + std::to_string(round));
        Writer writer(path, first);
        ASSERT_TRUE(writer.awaitFirstRow());
        ASSERT_TRUE(writer.readUntil(SteadyClock::now() + std::chrono::microseconds(moments(random))));
        const int status = writer.kill();
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it ended by itself: " << status;
        const auto told = writer.committed();
        committed.insert(committed.end(), told.begin(), told.end());

        const DatabaseManager restarted(path, clock);
        Sql sql(path);
        ASSERT_EQ(sql.rows("PRAGMA integrity_check;"), Rows{"ok"});
        std::vector<std::int64_t> found;
        for (const SystemSnapshot& row : restarted.fetchHistory(test::storeNow))
            found.push_back(row.timestamp);
        ASSERT_TRUE(std::is_sorted(found.begin(), found.end()));
        ASSERT_TRUE(std::includes(found.begin(), found.end(), committed.begin(), committed.end()))
            << "a row that was committed is gone";
        // The kill may come between the commit of a row and the word of it.
        ASSERT_LE(found.size(), committed.size() + static_cast<std::size_t>(round) + 1);
        expectRepaired(sql, first, found.back());
        if (::testing::Test::HasFailure()) return;
        first = found.back() + 10;
    }
    EXPECT_GE(committed.size(), 200u);
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace corvanta
