// SPDX-License-Identifier: Apache-2.0
// A file that another process holds when the store starts.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>

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
using Rows = std::vector<std::string>;
using std::chrono::milliseconds;

/// One wait of 3 seconds, and not two.
void expectOneWait(const std::function<void()>& operation) {
    const auto begin = std::chrono::steady_clock::now();
    operation();
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took, milliseconds(2900));
    EXPECT_LT(took, milliseconds(5000));
}

class HeldFile : public ::testing::Test {
  protected:
    /// A file of an earlier version, with a session and an incident that were left open.
    void makeOlderFile(const std::string& journalMode) {
        Sql sql(path);
        sql.run(test::readFile(CORVANTA_FIXTURES "/storage/history-without-incident-marks.sql"));
        sql.run("PRAGMA journal_mode = " + journalMode + ";");
    }
    void startWhileHeld() {
        expectOneWait([this] { store.emplace(path, clock); });
        EXPECT_EQ(store->state(), StoreState::ready);
    }
    void expectNotStarted() {
        EXPECT_EQ(Sql(path).row(openRows), "1|1");
        EXPECT_EQ(DatabaseManager(path, clock, StoreAccess::readOnly).state(), StoreState::olderSchema);
    }
    void expectStarted() {
        EXPECT_EQ(Sql(path).rows("SELECT name, ended_at FROM sessions ORDER BY id;"),
                  (Rows{"open|1799998003", "done|1799990060"}));
        // The end of the incident is the last row of the dead program, not the first of this one.
        EXPECT_EQ(
            Sql(path).rows("SELECT ended_at, recovery_started_at FROM performance_incidents ORDER BY id;"),
            (Rows{"1799999010|NULL", "1799990200|NULL"}));
        EXPECT_EQ(DatabaseManager(path, clock, StoreAccess::readOnly).state(), StoreState::ready);
        EXPECT_EQ(Sql(path).row("PRAGMA journal_mode;"), "wal");
    }

    static constexpr const char* openRows =
        "SELECT (SELECT COUNT(*) FROM sessions WHERE ended_at IS NULL), "
        "(SELECT COUNT(*) FROM performance_incidents WHERE ended_at IS NULL);";

    test::TempDirectory folder;
    std::string path = folder.file("history.sqlite");
    test::FakeClock clock;
    test::CapturedLog log;
    std::optional<DatabaseManager> store;
};

TEST_F(HeldFile, rollbackJournalStartsAfterOneWaitAndTheNextInsertFinishesTheStart) {
    makeOlderFile("DELETE");
    {
        Sql other(path);
        other.run("BEGIN EXCLUSIVE;");
        startWhileHeld();
        expectOneWait([this] { store->insertSnapshot(sampleAt(storeNow - 10)); });
        EXPECT_EQ(log.lines(), Rows{"Could not insert row."});
        other.run("COMMIT;");
    }
    expectNotStarted();
    store->insertSnapshot(sampleAt(storeNow));
    EXPECT_EQ(log.lines().size(), 1u);
    expectStarted();
    EXPECT_EQ(store->fetchHistory().size(), 3u);
}

TEST_F(HeldFile, walFileStartsAfterOneWaitAndCanBeReadMeanwhile) {
    for (const char* begin : {"BEGIN IMMEDIATE;", "BEGIN EXCLUSIVE;"}) {
        SCOPED_TRACE(begin);
        path = folder.file(std::string(begin) + ".sqlite");
        makeOlderFile("WAL");
        Sql other(path);
        other.run(begin);
        startWhileHeld();
        EXPECT_EQ(store->fetchHistory().size(), 2u);
        other.run("COMMIT;");
        expectNotStarted();
        store->insertSnapshot(sampleAt(storeNow));
        expectStarted();
        EXPECT_EQ(store->fetchHistory().size(), 3u);
    }
    EXPECT_EQ(log.lines(), Rows{});
}

TEST_F(HeldFile, pruningFinishesTheStartToo) {
    makeOlderFile("DELETE");
    Sql other(path);
    other.run("BEGIN EXCLUSIVE;");
    startWhileHeld();
    expectOneWait([this] { store->pruneOldRecords(); });
    EXPECT_EQ(log.lines(), Rows{"Could not delete old rows."});
    other.run("COMMIT;");
    store->pruneOldRecords();
    expectStarted();
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(HeldFile, finishedStartIsNotRunAgain) {
    makeOlderFile("WAL");
    Sql other(path);
    other.run("BEGIN IMMEDIATE;");
    startWhileHeld();
    other.run("COMMIT;");
    store->insertSnapshot(sampleAt(storeNow));
    other.run("INSERT INTO sessions (name, started_at) VALUES ('goes on', 1);");
    store->insertSnapshot(sampleAt(storeNow));
    store->pruneOldRecords();
    EXPECT_EQ(other.row(openRows), "1|0");
}

TEST_F(HeldFile, pruningOfAStartedStoreWaitsOnce) {
    store.emplace(path, clock);
    Sql other(path);
    other.run("BEGIN EXCLUSIVE;");
    expectOneWait([this] { store->pruneOldRecords(); });
    EXPECT_EQ(log.lines(), Rows{"Could not delete old rows."});
}

}  // namespace
}  // namespace corvanta
