// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>

#include "storage/DatabaseManager.h"
#include "storage/StoreTestSupport.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::sampleAt;
using test::Sql;
using test::storeNow;
using test::SystemFault;
using Rows = std::vector<std::string>;
namespace fs = std::filesystem;

class BadFile : public ::testing::Test {
  protected:
    static void expectEveryReadEmpty(const DatabaseManager& store) {
        EXPECT_TRUE(store.fetchHistory().empty());
        EXPECT_TRUE(store.fetchMetricValues("cpu_usage", 86400).empty());
        EXPECT_FALSE(store.averageCPU(86400).has_value());
        EXPECT_FALSE(store.weeklyStats(604800).has_value());
        EXPECT_TRUE(store.detectTrends().empty());
    }
    static void write(DatabaseManager& store) {
        store.insertSnapshot(sampleAt(storeNow));
        store.pruneOldRecords();
    }
    /// The file can't be opened: one line, and a store that does nothing.
    void expectUnavailable() {
        {
            DatabaseManager store(path, clock);
            EXPECT_EQ(store.state(), StoreState::unavailable);
            expectEveryReadEmpty(store);
            write(store);
        }
        EXPECT_EQ(log.lines(), Rows{"Error opening database at " + path});
    }
    /// The content is no database: a store that does nothing, says nothing and leaves the content alone.
    void expectSilentAndUnchanged(const std::string& content) {
        path = folder.write("history.sqlite", content);
        {
            DatabaseManager store(path, clock);
            expectEveryReadEmpty(store);
            write(store);
            expectEveryReadEmpty(store);
        }
        EXPECT_EQ(log.lines(), Rows{});
        EXPECT_EQ(test::readFile(path), content);
    }
    /// The file has one row and can't be written.
    void expectReadButNotWritten() {
        const std::string content = test::readFile(path);
        const std::size_t before = log.lines().size();
        DatabaseManager store(path, clock);
        EXPECT_EQ(store.state(), StoreState::ready);
        for (int round = 0; round < 2; ++round) {
            store.insertSnapshot(sampleAt(storeNow));
            EXPECT_EQ(store.fetchHistory().size(), 1u);
            EXPECT_EQ(store.weeklyStats(60).value_or(WeeklyStats{}).sampleCount, 1);
        }
        store.pruneOldRecords();
        const Rows lines = log.lines();
        EXPECT_EQ(Rows(lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end()),
                  (Rows{"Could not insert row.", "Could not insert row.", "Could not delete old rows."}));
        EXPECT_EQ(test::readFile(path), content);
    }
    /// A good file with one row.
    void makeStore() {
        DatabaseManager store(path, clock);
        store.insertSnapshot(sampleAt(storeNow));
    }

    test::TempDirectory folder;
    std::string path = folder.file("history.sqlite");
    test::FakeClock clock;
    test::CapturedLog log;
};

TEST_F(BadFile, folderThatCannotBeMadeIsToldOnceAndNothingElseIs) {
    folder.write("com.corvanta.app", "a file where the folder should be");
    path = folder.file("com.corvanta.app/deeper/history.sqlite");
    expectUnavailable();
}

TEST_F(BadFile, folderInTheWayIsToldOnce) {
    fs::create_directory(path);
    expectUnavailable();
    EXPECT_TRUE(fs::is_empty(path));
}

TEST_F(BadFile, emptyPathIsToldOnceAndIsNoTemporaryFile) {
    path = "";
    expectUnavailable();
}

TEST_F(BadFile, unreadableFileIsToldOnce) {
    makeStore();
    const SystemFault fault(SystemFault::Kind::unreadable);
    expectUnavailable();
}

TEST_F(BadFile, textIsLeftAlone) {
    expectSilentAndUnchanged(std::string(5000, 'x'));
}

TEST_F(BadFile, shortTextIsLeftAlone) {
    expectSilentAndUnchanged("not a database");
}

TEST_F(BadFile, rightBeginningWithGarbageBehindItIsLeftAlone) {
    expectSilentAndUnchanged(std::string("SQLite format 3\0", 16) + std::string(5000, '\xa5'));
}

TEST_F(BadFile, fileThatIsMissingItsEndDoesNotEndTheProgram) {
    makeStore();
    const std::string content = test::readFile(path);
    for (std::size_t size = 0; size < content.size(); size += 512) {
        path = folder.write("cut" + std::to_string(size) + ".sqlite", content.substr(0, size));
        DatabaseManager store(path, clock);
        store.fetchHistory();
        store.weeklyStats(60);
        write(store);
        EXPECT_LE(store.fetchHistory().size(), 2u);
    }
}

TEST_F(BadFile, foreignTablesOfTheSameNamesMakeOperationsFailSilently) {
    Sql(path).run(
        "CREATE TABLE other (a); CREATE VIEW metrics_history AS SELECT * FROM other;"
        "CREATE TABLE sessions (x); CREATE TABLE session_samples (y);");
    DatabaseManager store(path, clock);
    expectEveryReadEmpty(store);
    write(store);
    EXPECT_EQ(log.lines(), Rows{});
}

TEST_F(BadFile, fileOpenedForReadingGivesOneLineForEachInsert) {
    makeStore();
    DatabaseManager store(path, clock, StoreAccess::readOnly);
    store.insertSnapshot(sampleAt(storeNow));
    store.insertSnapshot(sampleAt(storeNow));
    EXPECT_EQ(log.lines(), (Rows{"Could not insert row.", "Could not insert row."}));
    EXPECT_EQ(store.fetchHistory().size(), 1u);
}

TEST_F(BadFile, readOnlyFileGivesOneLineForEachInsertAndIsRead) {
    for (const char* journalMode : {"WAL", "DELETE"}) {
        SCOPED_TRACE(journalMode);
        path = folder.file(std::string(journalMode) + ".sqlite");
        makeStore();
        Sql(path).run("PRAGMA journal_mode = " + std::string(journalMode) + ";");
        const SystemFault medium(SystemFault::Kind::readOnlyMedium);
        expectReadButNotWritten();
    }
}

TEST_F(BadFile, readOnlyFileWithSideFilesIsReadWithThem) {
    DatabaseManager program(path, clock);
    program.insertSnapshot(sampleAt(storeNow));
    const std::string left = folder.file("left.sqlite");
    for (const char* suffix : {"", "-wal", "-shm"}) fs::copy_file(path + suffix, left + suffix);
    path = left;
    const SystemFault medium(SystemFault::Kind::readOnlyMedium);
    expectReadButNotWritten();
}

TEST_F(BadFile, fullDiskLosesTheSampleWithOneLineAndTheStoreGoesOn) {
    DatabaseManager store(path, clock);
    store.insertSnapshot(sampleAt(storeNow - 20));
    {
        const SystemFault full(SystemFault::Kind::noSpace);
        store.insertSnapshot(sampleAt(storeNow - 10));
        EXPECT_EQ(log.lines(), Rows{"Could not insert row."});
        EXPECT_EQ(store.fetchHistory().size(), 1u) << "what is there can still be read";
    }
    store.insertSnapshot(sampleAt(storeNow));
    EXPECT_EQ(store.fetchHistory().size(), 2u) << "with space again it writes again";
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(Sql(path).row("PRAGMA integrity_check;"), "ok");
}

TEST_F(BadFile, fullDiskAtTheFirstStartGivesAnEmptyStore) {
    {
        const SystemFault full(SystemFault::Kind::noSpace);
        DatabaseManager store(path, clock);
        write(store);
        expectEveryReadEmpty(store);
    }
    DatabaseManager next(path, clock);
    next.insertSnapshot(sampleAt(storeNow));
    EXPECT_EQ(next.fetchHistory().size(), 1u);
}

TEST_F(BadFile, fullDiskAtAStartIsMadeUpForOnceThereIsSpace) {
    Sql(path).run(test::readFile(CORVANTA_FIXTURES "/storage/history-without-context.sql"));
    std::optional<DatabaseManager> store;
    {
        const SystemFault full(SystemFault::Kind::noSpace);
        store.emplace(path, clock);
        store->insertSnapshot(sampleAt(storeNow - 10));
        EXPECT_EQ(log.lines(), Rows{"Could not insert row."});
    }
    store->insertSnapshot(sampleAt(storeNow));
    EXPECT_EQ(store->fetchHistory().size(), 3u);
    EXPECT_EQ(Sql(path).row("SELECT COUNT(*) FROM sessions WHERE ended_at IS NULL;"), "0");
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(BadFile, fileHeldByAnotherForLongerThanTheWaitLosesTheSampleWithOneLine) {
    DatabaseManager store(path, clock);
    Sql other(path);
    other.run("BEGIN EXCLUSIVE;");
    const auto begin = std::chrono::steady_clock::now();
    store.insertSnapshot(sampleAt(storeNow));
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, std::chrono::milliseconds(2900));
    EXPECT_EQ(log.lines(), Rows{"Could not insert row."});
    EXPECT_TRUE(store.fetchHistory().empty()) << "a writer doesn't hold readers up";
    other.run("COMMIT;");
    store.insertSnapshot(sampleAt(storeNow));
    EXPECT_EQ(store.fetchHistory().size(), 1u);
}

TEST_F(BadFile, fileHeldByAnotherForShorterThanTheWaitLosesNothing) {
    test::StatementTrace trace;
    DatabaseManager store(path, clock);
    Sql other(path);
    other.run("BEGIN IMMEDIATE;");
    trace.take();
    std::thread writer([&] { store.insertSnapshot(sampleAt(storeNow)); });
    EXPECT_TRUE(trace.await("INSERT INTO metrics_history"));
    other.run("COMMIT;");
    writer.join();
    EXPECT_EQ(store.fetchHistory().size(), 1u);
    EXPECT_EQ(log.lines(), Rows{});
}

TEST_F(BadFile, deletedFileDoesNotStopTheRunningStore) {
    DatabaseManager store(path, clock);
    fs::remove(path);
    store.insertSnapshot(sampleAt(storeNow));
    EXPECT_EQ(store.fetchHistory().size(), 1u);
}

}  // namespace
}  // namespace corvanta
