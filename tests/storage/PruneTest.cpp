// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "storage/DatabaseManager.h"
#include "storage/StoreTestSupport.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::Sql;
using test::storeNow;
using Rows = std::vector<std::string>;

constexpr std::int64_t day = 86400;

class Prune : public ::testing::Test {
  protected:
    void addIncident(std::int64_t startedAt, const std::string& endedAt) {
        sql.run(
            "INSERT INTO performance_incidents (started_at, detected_at, ended_at, kind, severity, "
            "created_at) "
            "VALUES (" +
            std::to_string(startedAt) + ", 1, " + endedAt + ", 'cpu', 1, 1);");
    }
    /// A session with two samples.
    void addSession(const std::string& name, const std::string& endedAt) {
        sql.run("INSERT INTO sessions (name, started_at, ended_at) VALUES ('" + name + "', 1, " + endedAt +
                ");"
                "INSERT INTO session_samples (session_id, timestamp) "
                "SELECT id, 1 FROM sessions WHERE name = '" +
                name +
                "';"
                "INSERT INTO session_samples (session_id, timestamp) "
                "SELECT id, 2 FROM sessions WHERE name = '" +
                name + "';");
    }
    Rows sessions() {
        return sql.rows(
            "SELECT name, (SELECT COUNT(*) FROM session_samples WHERE session_id = sessions.id) "
            "FROM sessions ORDER BY id;");
    }

    test::TempDirectory folder;
    test::FakeClock clock;
    test::CapturedLog log;
    DatabaseManager store{folder.file("history.sqlite"), clock};
    Sql sql{folder.file("history.sqlite")};
};

TEST_F(Prune, historyGoesOnceItIsOlderThanThirtyDays) {
    for (const std::int64_t age : {30 * day + 1, 30 * day, 30 * day - 1, std::int64_t{0}}) {
        store.insertSnapshot(test::sampleAt(static_cast<double>(storeNow - age)));
    }
    store.pruneOldRecords();
    EXPECT_EQ(sql.rows("SELECT 1800000000 - timestamp FROM metrics_history ORDER BY timestamp;"),
              (Rows{"2592000", "2591999", "0"}));
}

TEST_F(Prune, presentMomentIsCutToWholeSeconds) {
    clock.advance(0.9);
    store.insertSnapshot(test::sampleAt(static_cast<double>(storeNow - 30 * day)));
    store.pruneOldRecords();
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM metrics_history;"), "1");
}

TEST_F(Prune, endedIncidentGoesByItsEnd) {
    addIncident(1, std::to_string(storeNow - 30 * day - 1));
    addIncident(2, std::to_string(storeNow - 30 * day));
    store.pruneOldRecords();
    EXPECT_EQ(sql.rows("SELECT started_at FROM performance_incidents;"), Rows{"2"});
}

TEST_F(Prune, endedSessionGoesAtNinetyDaysWithItsSamples) {
    addSession("older", std::to_string(storeNow - 90 * day - 1));
    addSession("atTheLine", std::to_string(storeNow - 90 * day));
    store.pruneOldRecords();
    EXPECT_EQ(sessions(), Rows{"atTheLine|2"});
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM session_samples;"), "2");
}

TEST_F(Prune, sessionOfEightyNineDaysKeepsItsSamplesWhenTheHistoryIsGone) {
    store.insertSnapshot(test::sampleAt(static_cast<double>(storeNow - 89 * day)));
    store.insertSnapshot(test::sampleAt(static_cast<double>(storeNow - 31 * day)));
    addSession("kept", std::to_string(storeNow - 89 * day));
    store.pruneOldRecords();
    EXPECT_EQ(sessions(), Rows{"kept|2"});
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM metrics_history;"), "0");
}

TEST_F(Prune, openIncidentAndOpenSessionStayHoweverOld) {
    addIncident(1, "NULL");
    addSession("open", "NULL");
    store.pruneOldRecords();
    store.pruneOldRecords(0);
    EXPECT_EQ(sql.rows("SELECT started_at, ended_at FROM performance_incidents;"), Rows{"1|NULL"});
    EXPECT_EQ(sessions(), Rows{"open|2"});
}

TEST_F(Prune, retentionOfTheCallerHoldsForHistoryAndIncidentsOnly) {
    for (const std::int64_t age : {61, 60}) {
        store.insertSnapshot(test::sampleAt(static_cast<double>(storeNow - age)));
        addIncident(age, std::to_string(storeNow - age));
        addSession("session" + std::to_string(age), std::to_string(storeNow - age));
    }
    store.pruneOldRecords(60);
    EXPECT_EQ(sql.rows("SELECT 1800000000 - timestamp FROM metrics_history;"), Rows{"60"});
    EXPECT_EQ(sql.rows("SELECT started_at FROM performance_incidents;"), Rows{"60"});
    EXPECT_EQ(sessions(), (Rows{"session61|2", "session60|2"}));
}

TEST_F(Prune, samplesAreDeletedByTheirOwnStatementAndNotOnlyByTheForeignKey) {
    test::StatementTrace trace;
    DatabaseManager traced(folder.file("history.sqlite"), clock);
    trace.take();
    traced.pruneOldRecords();
    EXPECT_EQ(trace.take(),
              (Rows{"DELETE FROM metrics_history WHERE timestamp < ?;",
                    "DELETE FROM session_samples WHERE session_id IN (SELECT id FROM sessions WHERE ended_at "
                    "IS NOT NULL AND ended_at < ?);",
                    "DELETE FROM sessions WHERE ended_at IS NOT NULL AND ended_at < ?;",
                    "DELETE FROM performance_incidents WHERE ended_at IS NOT NULL AND ended_at < ?;"}));
}

TEST_F(Prune, retentionBeyondAllTimeDeletesNothing) {
    store.insertSnapshot(test::sampleAt(1));
    store.pruneOldRecords(std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM metrics_history;"), "1");
    EXPECT_EQ(log.lines(), Rows{});
}

TEST_F(Prune, wallClockThatJumpedAheadTakesWhatThenCountsAsOld) {
    store.insertSnapshot(test::sampleAt(storeNow));
    clock.setNow(instantFromSeconds(static_cast<double>(storeNow + 30 * day + 1)));
    store.pruneOldRecords();
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM metrics_history;"), "0");
}

TEST_F(Prune, wallClockThatJumpedBackTakesNothing) {
    store.insertSnapshot(test::sampleAt(storeNow));
    clock.setNow(instantFromSeconds(0));
    store.pruneOldRecords();
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM metrics_history;"), "1");
}

TEST_F(Prune, failureToDeleteHistoryIsToldInOneLineAndTheOthersNot) {
    store.insertSnapshot(test::sampleAt(1));
    addIncident(1, "2");
    addSession("old", "2");
    {
        const test::SystemFault full(test::SystemFault::Kind::noSpace);
        store.pruneOldRecords();
    }
    EXPECT_EQ(log.lines(), Rows{"Could not delete old rows."});
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM metrics_history;"), "1");
    store.pruneOldRecords();
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM metrics_history;"), "0");
    EXPECT_EQ(log.lines().size(), 1u);
}

}  // namespace
}  // namespace corvanta
