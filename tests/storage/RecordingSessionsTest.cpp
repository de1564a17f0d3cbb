// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

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

SessionSampleValues sample(double cpu = 12.5) {
    return {.cpu = cpu,
            .ram = 40.25,
            .diskFree = 5e10,
            .upload = 100.5,
            .download = 2000.75,
            .pressure = 41.5,
            .pressureState = MemoryPressureLevel::warning,
            .thermal = "Fair",
            .topCpuName = "compiler",
            .topCpuUsage = 180.5};
}

class RecordingSessions : public ::testing::Test {
  protected:
    void setClock(double secondsAfterStart) {
        clock.setNow(instantFromSeconds(static_cast<double>(storeNow) + secondsAfterStart));
    }
    std::string sampleCount() { return sql.row("SELECT COUNT(*) FROM session_samples;"); }
    void expectNoSession() const {
        EXPECT_FALSE(store.isRecording());
        EXPECT_EQ(store.activeSessionId(), std::nullopt);
        EXPECT_EQ(store.activeSessionName(), std::nullopt);
        EXPECT_EQ(store.sessionElapsed(), 0);
        EXPECT_EQ(store.sessionElapsedString(), "00:00");
    }

    test::TempDirectory folder;
    const std::string file = folder.file("history.sqlite");
    test::FakeClock clock;
    test::CapturedLog log;
    DatabaseManager store{file, clock};
    Sql sql{file};
};

// The session that runs

TEST_F(RecordingSessions, noneRunsAtFirst) {
    expectNoSession();
    EXPECT_TRUE(store.allSessions().empty());
}

TEST_F(RecordingSessions, startingWritesARowWithoutAnEnd) {
    setClock(0.75);
    EXPECT_EQ(store.startSession("Slow build"), 1);
    EXPECT_EQ(sql.rows("SELECT * FROM sessions;"), Rows{"1|Slow build|1800000000|NULL"});
    EXPECT_TRUE(store.isRecording());
    EXPECT_EQ(store.activeSessionId(), 1);
    EXPECT_EQ(store.activeSessionName(), "Slow build");
    // The start in memory keeps the fraction that the row lacks.
    setClock(2);
    EXPECT_EQ(store.sessionElapsed(), 1.25);
}

TEST_F(RecordingSessions, startingWhileOneRunsGivesNoneAndLeavesItUntouched) {
    ASSERT_EQ(store.startSession("first"), 1);
    clock.advance(5);
    EXPECT_EQ(store.startSession("second"), std::nullopt);
    EXPECT_EQ(store.activeSessionId(), 1);
    EXPECT_EQ(store.activeSessionName(), "first");
    EXPECT_EQ(store.sessionElapsed(), 5);
    EXPECT_EQ(sql.rows("SELECT name FROM sessions;"), Rows{"first"});
}

TEST_F(RecordingSessions, stoppingWritesTheEndAndForgetsTheSession) {
    ASSERT_TRUE(store.startSession("one"));
    setClock(61.9);
    store.stopSession();
    expectNoSession();
    EXPECT_EQ(sql.row("SELECT ended_at FROM sessions;"), "1800000061");
    EXPECT_EQ(store.startSession("two"), 2);
    EXPECT_EQ(sql.rows("SELECT name, ended_at FROM sessions ORDER BY id;"),
              (Rows{"one|1800000061", "two|NULL"}));
}

TEST_F(RecordingSessions, stoppingWithoutASessionChangesNothing) {
    ASSERT_TRUE(store.startSession("one"));
    store.stopSession();
    const Rows before = sql.dump();
    clock.advance(10);
    store.stopSession();
    EXPECT_EQ(sql.dump(), before);
    expectNoSession();
}

TEST_F(RecordingSessions, anyNameIsKeptByteForByte) {
    const std::string name("'; DROP TABLE sessions; --\n\"\xff\0 end", 33);
    ASSERT_TRUE(store.startSession(name));
    EXPECT_EQ(store.activeSessionName(), name);
    EXPECT_EQ(store.allSessions().at(0).name, name);
    store.stopSession();
    ASSERT_TRUE(store.startSession(""));
    EXPECT_EQ(store.activeSessionName(), "");
    EXPECT_EQ(store.allSessions().size(), 2u);
}

TEST_F(RecordingSessions, elapsedTimeIsTruncatedAndMinutesNeverBecomeHours) {
    ASSERT_TRUE(store.startSession("long"));
    const std::vector<std::pair<double, std::string>> table = {
        {0, "00:00"},    {0.999, "00:00"},   {1, "00:01"},     {59.999, "00:59"},
        {60, "01:00"},   {599.999, "09:59"}, {600, "10:00"},   {3599.9, "59:59"},
        {3600, "60:00"}, {5999.9, "99:59"},  {6000, "100:00"}, {86400, "1440:00"}};
    for (const auto& [seconds, text] : table) {
        setClock(seconds);
        EXPECT_EQ(store.sessionElapsedString(), text) << seconds;
    }
}

TEST_F(RecordingSessions, clockThatWasSetBackShowsNoElapsedTime) {
    ASSERT_TRUE(store.startSession("one"));
    setClock(-90);
    EXPECT_EQ(store.sessionElapsed(), -90);
    EXPECT_EQ(store.sessionElapsedString(), "00:00");
}

// Its samples

TEST_F(RecordingSessions, aSampleHasEveryColumnAndTheMomentOfTheWrite) {
    ASSERT_TRUE(store.startSession("one"));
    setClock(3.9);
    store.insertSessionSample(sample());
    EXPECT_EQ(sql.rows("SELECT * FROM session_samples;"),
              Rows{"1|1|1800000003|12.5|40.25|50000000000.0|100.5|2000.75|41.5|2|Fair|compiler|180.5"});
}

TEST_F(RecordingSessions, whatIsNotFiniteReadsBackAsAbsentAndKeepsItsSample) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const auto session = store.startSession("odd");
    ASSERT_TRUE(session.has_value());
    for (const double odd : {infinity, -infinity, std::nan("")}) {
        SessionSampleValues values = sample(odd);
        values.ram = values.diskFree = values.upload = values.download = values.pressure =
            values.topCpuUsage = odd;
        store.insertSessionSample(values);
    }
    EXPECT_EQ(sql.rows("SELECT cpu_usage, ram_usage, disk_free, upload_speed, download_speed, "
                       "memory_pressure, top_cpu_usage, top_cpu_process FROM session_samples;"),
              Rows(3, "NULL|NULL|NULL|NULL|NULL|NULL|NULL|compiler"));
    EXPECT_EQ(store.fetchSessionSamples(*session).size(), 3u);
}

TEST_F(RecordingSessions, aSampleWithoutASessionIsNotWritten) {
    store.insertSessionSample(sample());
    EXPECT_EQ(sampleCount(), "0");
    ASSERT_TRUE(store.startSession("one"));
    store.stopSession();
    store.insertSessionSample(sample());
    EXPECT_EQ(sampleCount(), "0");
}

TEST_F(RecordingSessions, emptyTextsOfASampleStayEmpty) {
    ASSERT_TRUE(store.startSession("one"));
    store.insertSessionSample({});
    EXPECT_EQ(sql.row("SELECT thermal_state IS '', top_cpu_process IS '' FROM session_samples;"), "1|1");
    const auto samples = store.fetchSessionSamples(1);
    ASSERT_EQ(samples.size(), 1u);
    EXPECT_EQ(samples[0].thermalState, "");
    EXPECT_EQ(samples[0].topCPUProcess, "");
}

TEST_F(RecordingSessions, everyLevelIsStoredByItsRawValue) {
    ASSERT_TRUE(store.startSession("one"));
    SessionSampleValues values = sample();
    for (const MemoryPressureLevel level : allMemoryPressureLevels) {
        values.pressureState = level;
        store.insertSessionSample(values);
    }
    EXPECT_EQ(sql.rows("SELECT memory_pressure_state FROM session_samples ORDER BY id;"),
              (Rows{"0", "1", "2", "4"}));
}

TEST_F(RecordingSessions, samplesReadBackAsTheyWereWrittenOldestFirst) {
    ASSERT_TRUE(store.startSession("one"));
    setClock(2);
    store.insertSessionSample(sample(2));
    setClock(1);
    store.insertSessionSample(sample(1));
    const SystemSnapshot first = {.timestamp = storeNow + 1,
                                  .cpuUsage = 1,
                                  .ramUsage = 40.25,
                                  .diskFree = 5e10,
                                  .uploadSpeed = 100.5,
                                  .downloadSpeed = 2000.75,
                                  .memoryPressure = 41.5,
                                  .memoryPressureState = MemoryPressureLevel::warning,
                                  .thermalState = "Fair",
                                  .topCPUProcess = "compiler",
                                  .topCPUUsage = 180.5};
    SystemSnapshot second = first;
    second.timestamp = storeNow + 2;
    second.cpuUsage = 2;
    EXPECT_EQ(store.fetchSessionSamples(1), (std::vector{first, second}));
}

TEST_F(RecordingSessions, eachSessionHasItsOwnSamples) {
    ASSERT_EQ(store.startSession("one"), 1);
    store.insertSessionSample(sample(1));
    store.insertSessionSample(sample(2));
    store.stopSession();
    ASSERT_EQ(store.startSession("two"), 2);
    store.insertSessionSample(sample(3));
    EXPECT_EQ(store.fetchSessionSamples(1).size(), 2u);
    ASSERT_EQ(store.fetchSessionSamples(2).size(), 1u);
    EXPECT_EQ(store.fetchSessionSamples(2)[0].cpuUsage, 3);
    EXPECT_TRUE(store.fetchSessionSamples(3).empty());
}

TEST_F(RecordingSessions, nullsAndUnknownLevelsReadAsHistoryReadsThem) {
    sql.run(
        "INSERT INTO sessions (name, started_at) VALUES ('old', 1);"
        "INSERT INTO session_samples (session_id, timestamp, memory_pressure_state) VALUES (1, 5, 3);");
    SystemSnapshot expected;
    expected.timestamp = 5;
    EXPECT_EQ(store.fetchSessionSamples(1), std::vector{expected});
}

TEST_F(RecordingSessions, aSampleThatCannotBeInsertedIsIgnored) {
    ASSERT_TRUE(store.startSession("one"));
    {
        const test::SystemFault full(test::SystemFault::Kind::noSpace);
        store.insertSessionSample(sample());
    }
    EXPECT_EQ(sampleCount(), "0");
    store.insertSessionSample(sample());
    EXPECT_EQ(sampleCount(), "1");
    EXPECT_EQ(log.lines(), Rows{});
}

TEST_F(RecordingSessions, aSampleOfASessionThatWasDeletedIsNotWritten) {
    ASSERT_TRUE(store.startSession("one"));
    store.insertSessionSample(sample());
    sql.run("DELETE FROM session_samples; DELETE FROM sessions;");
    store.insertSessionSample(sample());
    EXPECT_EQ(sampleCount(), "0");
    EXPECT_TRUE(store.allSessions().empty());
    EXPECT_TRUE(store.fetchSessionSamples(1).empty());
}

// What can't be written

TEST_F(RecordingSessions, aSessionThatCannotBeWrittenIsNotStarted) {
    {
        const test::SystemFault full(test::SystemFault::Kind::noSpace);
        EXPECT_EQ(store.startSession("one"), std::nullopt);
        expectNoSession();
    }
    EXPECT_EQ(store.startSession("two"), 1);
}

TEST_F(RecordingSessions, aSessionWhoseEndCannotBeWrittenHasStoppedAllTheSame) {
    ASSERT_TRUE(store.startSession("one"));
    {
        const test::SystemFault full(test::SystemFault::Kind::noSpace);
        store.stopSession();
    }
    expectNoSession();
    EXPECT_EQ(sql.row("SELECT ended_at FROM sessions;"), "NULL");
}

TEST_F(RecordingSessions, withoutAConnectionNothingStarts) {
    DatabaseManager none(folder.file("history.sqlite/below/a.file"), clock);
    EXPECT_EQ(none.startSession("one"), std::nullopt);
    none.insertSessionSample(sample());
    none.stopSession();
    EXPECT_FALSE(none.isRecording());
    EXPECT_TRUE(none.allSessions().empty());
    EXPECT_TRUE(none.fetchSessionSamples(1).empty());
    EXPECT_EQ(none.exportSessionCSV(1), "No data");
}

TEST_F(RecordingSessions, aReaderSeesTheRunningSessionAndStartsNone) {
    ASSERT_TRUE(store.startSession("one"));
    store.insertSessionSample(sample());
    DatabaseManager reader(file, clock, StoreAccess::readOnly);
    EXPECT_FALSE(reader.isRecording());
    EXPECT_EQ(reader.startSession("two"), std::nullopt);
    EXPECT_FALSE(reader.isRecording());
    ASSERT_EQ(reader.allSessions().size(), 1u);
    EXPECT_EQ(reader.allSessions()[0].endedAt, std::nullopt);
    EXPECT_EQ(reader.allSessions()[0].sampleCount, 1);
}

// All sessions

TEST_F(RecordingSessions, allSessionsAreListedNewestFirstWithTheirSamples) {
    ASSERT_TRUE(store.startSession("older"));
    store.insertSessionSample(sample());
    store.insertSessionSample(sample());
    clock.advance(10);
    store.stopSession();
    clock.advance(10);
    ASSERT_TRUE(store.startSession("newer"));
    sql.run("INSERT INTO sessions (name, started_at, ended_at) VALUES ('oldest', 5, 6);");
    const auto at = [](double seconds) { return instantFromSeconds(seconds); };
    const std::vector<RecordingSession> expected = {{2, "newer", at(storeNow + 20), std::nullopt, 0},
                                                    {1, "older", at(storeNow), at(storeNow + 10), 2},
                                                    {3, "oldest", at(5), at(6), 0}};
    EXPECT_EQ(store.allSessions(), expected);
}

TEST_F(RecordingSessions, anEndBelowOneReadsAsAbsent) {
    for (const char* end : {"NULL", "-5", "0", "1"}) {
        sql.run("INSERT INTO sessions (name, started_at, ended_at) VALUES ('" + std::string(end) + "', 10, " +
                end + ");");
    }
    for (const RecordingSession& session : store.allSessions()) {
        EXPECT_EQ(session.endedAt, session.name == "1" ? std::optional(instantFromSeconds(1)) : std::nullopt)
            << session.name;
    }
    EXPECT_EQ(store.allSessions().size(), 4u);
}

TEST_F(RecordingSessions, theListStopsAtARowWithoutAName) {
    const std::string strange = folder.file("strange.sqlite");
    Sql(strange).run(
        "CREATE TABLE sessions (id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT, started_at INTEGER NOT "
        "NULL, ended_at INTEGER);"
        "INSERT INTO sessions (name, started_at, ended_at) VALUES ('a', 1, 2), (NULL, 2, 3), ('c', 3, 4), "
        "('d', 4, 5);");
    const DatabaseManager other(strange, clock);
    const auto sessions = other.allSessions();
    ASSERT_EQ(sessions.size(), 2u);
    EXPECT_EQ(sessions[0].name, "d");
    EXPECT_EQ(sessions[1].name, "c");
}

TEST_F(RecordingSessions, theNextStartEndsWhatRanAtItsLastSample) {
    ASSERT_TRUE(store.startSession("crashed"));
    setClock(30);
    store.insertSessionSample(sample());
    setClock(100);
    const DatabaseManager next(file, clock);
    EXPECT_FALSE(next.isRecording());
    ASSERT_EQ(next.allSessions().size(), 1u);
    EXPECT_EQ(next.allSessions()[0].endedAt, instantFromSeconds(storeNow + 30));
}

TEST_F(RecordingSessions, aStartThatHadToWaitEndsOnlyWhatWasLeftOpen) {
    sql.run("INSERT INTO sessions (name, started_at) VALUES ('left open', 7);");
    std::optional<DatabaseManager> late;
    {
        const test::SystemFault full(test::SystemFault::Kind::noSpace);
        late.emplace(file, clock);
        EXPECT_EQ(late->startSession("too early"), std::nullopt);
    }
    EXPECT_EQ(sql.row("SELECT ended_at FROM sessions;"), "NULL");
    ASSERT_EQ(late->startSession("new"), 2);
    late->insertSessionSample(sample());
    late->insertSnapshot(test::sampleAt(storeNow));
    EXPECT_EQ(sql.rows("SELECT name, ended_at FROM sessions ORDER BY id;"),
              (Rows{"left open|7", "new|NULL"}));
}

TEST_F(RecordingSessions, retentionKeepsTheRunningSessionAndItsSamplesHoweverOld) {
    ASSERT_TRUE(store.startSession("long"));
    store.insertSessionSample(sample());
    clock.advance(200 * 86400.0);
    store.pruneOldRecords();
    store.insertSessionSample(sample());
    EXPECT_TRUE(store.isRecording());
    EXPECT_EQ(store.fetchSessionSamples(1).size(), 2u);
    store.stopSession();
    store.pruneOldRecords();
    EXPECT_EQ(store.fetchSessionSamples(1).size(), 2u);
}

TEST_F(RecordingSessions, everyOperationRunsItsOwnStatementAndLeavesNoneBehind) {
    test::StatementTrace trace;
    DatabaseManager traced(file, clock);
    trace.take();
    ASSERT_TRUE(traced.startSession("one"));
    traced.insertSessionSample(sample());
    traced.stopSession();
    traced.fetchSessionSamples(1);
    traced.exportSessionCSV(1);
    traced.allSessions();
    const std::string samples =
        "SELECT timestamp, cpu_usage, ram_usage, disk_free, upload_speed, download_speed, memory_pressure, "
        "memory_pressure_state, thermal_state, top_cpu_process, top_cpu_usage FROM session_samples WHERE "
        "session_id = ? ORDER BY timestamp ASC;";
    EXPECT_EQ(
        trace.take(),
        (Rows{"INSERT INTO sessions (name, started_at) VALUES (?, ?);",
              "INSERT INTO session_samples (session_id, timestamp, cpu_usage, ram_usage, disk_free, "
              "upload_speed, download_speed, memory_pressure, memory_pressure_state, thermal_state, "
              "top_cpu_process, top_cpu_usage) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);",
              "UPDATE sessions SET ended_at = ? WHERE id = ?;", samples, samples,
              "SELECT s.id, s.name, s.started_at, s.ended_at, (SELECT COUNT(*) FROM session_samples WHERE "
              "session_id = s.id) AS sample_count FROM sessions s ORDER BY s.started_at DESC;"}));
    EXPECT_EQ(sqlite3_next_stmt(test::StatementTrace::connection(), nullptr), nullptr);
}

// Durations

TEST(RecordingSession, durationStringIsCutToWholeNumbers) {
    const std::vector<std::pair<double, std::string>> table = {
        {0, "0s"},         {45.9, "45s"},         {59.999, "59s"}, {60, "1m 0s"},
        {125, "2m 5s"},    {3599.999, "59m 59s"}, {3600, "1h 0m"}, {3659.9, "1h 0m"},
        {3780, "1h 3m"},   {90'000, "25h 0m"},    {-0.5, "0s"},    {-5.9, "-5s"},
        {-4000, "-4000s"}, {std::nan(""), "0s"}};
    for (const auto& [seconds, text] : table) {
        RecordingSession session;
        session.startedAt = instantFromSeconds(0);
        EXPECT_EQ(session.durationString(instantFromSeconds(seconds)), text) << seconds;
        session.endedAt = instantFromSeconds(seconds);
        EXPECT_EQ(session.durationString(instantFromSeconds(1e6)), text) << seconds;
    }
}

TEST(RecordingSession, durationOfARunningSessionGrowsAndThatOfAFinishedOneIsFixed) {
    RecordingSession session;
    session.startedAt = instantFromSeconds(1000);
    EXPECT_EQ(session.duration(instantFromSeconds(1001.5)), 1.5);
    EXPECT_EQ(session.duration(instantFromSeconds(1060)), 60);
    EXPECT_EQ(session.durationString(instantFromSeconds(1045)), "45s");
    EXPECT_EQ(session.durationString(instantFromSeconds(1125)), "2m 5s");
    EXPECT_EQ(session.duration(instantFromSeconds(990)), -10);
    session.endedAt = instantFromSeconds(1045);
    for (const double now : {990.0, 1045.0, 5000.0}) {
        EXPECT_EQ(session.duration(instantFromSeconds(now)), 45);
        EXPECT_EQ(session.durationString(instantFromSeconds(now)), "45s");
    }
}

}  // namespace
}  // namespace corvanta
