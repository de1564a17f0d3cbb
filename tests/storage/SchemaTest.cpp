// SPDX-License-Identifier: Apache-2.0
#include "storage/Schema.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "core/ApplicationPaths.h"
#include "storage/DatabaseManager.h"
#include "storage/StoreTestSupport.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::Sql;
using Rows = std::vector<std::string>;
namespace fs = std::filesystem;

// name | declared type | not null | default | primary key
const Rows metricsColumns = {
    "id|INTEGER|0|NULL|1",
    "timestamp|INTEGER|1|NULL|0",
    "cpu_usage|REAL|0|NULL|0",
    "ram_usage|REAL|0|NULL|0",
    "disk_free|REAL|0|NULL|0",
    "upload_speed|REAL|0|NULL|0",
    "download_speed|REAL|0|NULL|0",
    "memory_pressure|REAL|0|NULL|0",
    "memory_pressure_state|INTEGER|1|0|0",
    "thermal_state|TEXT|0|NULL|0",
    "battery_percentage|INTEGER|0|NULL|0",
    "is_charging|INTEGER|0|NULL|0",
    "top_cpu_process|TEXT|0|NULL|0",
    "top_cpu_usage|REAL|0|NULL|0",
    "top_ram_process|TEXT|0|NULL|0",
    "top_ram_bytes|INTEGER|0|NULL|0",
};
const Rows sessionsColumns = {
    "id|INTEGER|0|NULL|1",
    "name|TEXT|1|NULL|0",
    "started_at|INTEGER|1|NULL|0",
    "ended_at|INTEGER|0|NULL|0",
};
const Rows samplesColumns = {
    "id|INTEGER|0|NULL|1",           "session_id|INTEGER|1|NULL|0",
    "timestamp|INTEGER|1|NULL|0",    "cpu_usage|REAL|0|NULL|0",
    "ram_usage|REAL|0|NULL|0",       "disk_free|REAL|0|NULL|0",
    "upload_speed|REAL|0|NULL|0",    "download_speed|REAL|0|NULL|0",
    "memory_pressure|REAL|0|NULL|0", "memory_pressure_state|INTEGER|1|0|0",
    "thermal_state|TEXT|0|NULL|0",   "top_cpu_process|TEXT|0|NULL|0",
    "top_cpu_usage|REAL|0|NULL|0",
};
const Rows incidentsColumns = {
    "id|INTEGER|0|NULL|1",
    "started_at|INTEGER|1|NULL|0",
    "detected_at|INTEGER|1|NULL|0",
    "ended_at|INTEGER|0|NULL|0",
    "kind|TEXT|1|NULL|0",
    "severity|INTEGER|1|NULL|0",
    "peak_cpu|REAL|1|0|0",
    "peak_memory_pressure|REAL|1|0|0",
    "worst_memory_pressure_state|INTEGER|1|0|0",
    "peak_network|REAL|1|0|0",
    "min_battery|INTEGER|0|NULL|0",
    "worst_thermal_state|TEXT|1|'Nominal'|0",
    "top_cpu_process|TEXT|0|NULL|0",
    "top_cpu_usage|REAL|1|0|0",
    "top_ram_process|TEXT|0|NULL|0",
    "top_ram_bytes|INTEGER|1|0|0",
    "sample_count|INTEGER|1|0|0",
    "dismissed_at|INTEGER|0|NULL|0",
    "recovery_started_at|INTEGER|0|NULL|0",
    "created_at|INTEGER|1|NULL|0",
};

Rows columns(Sql& sql, const std::string& table) {
    return sql.rows("SELECT name, type, \"notnull\", dflt_value, pk FROM pragma_table_info('" + table +
                    "');");
}

Rows sorted(Rows rows) {
    std::sort(rows.begin(), rows.end());
    return rows;
}

class Schema : public ::testing::Test {
  protected:
    /// Opens the store and closes it again.
    void startAndStop() { const DatabaseManager store(path, clock); }

    test::TempDirectory folder;
    std::string path = folder.file("com.corvanta.app/history.sqlite");
    test::FakeClock clock;
};

TEST_F(Schema, newFileHasEveryColumnInOrder) {
    startAndStop();
    Sql sql(path);
    EXPECT_EQ(columns(sql, "metrics_history"), metricsColumns);
    EXPECT_EQ(columns(sql, "sessions"), sessionsColumns);
    EXPECT_EQ(columns(sql, "session_samples"), samplesColumns);
    EXPECT_EQ(columns(sql, "performance_incidents"), incidentsColumns);
    EXPECT_EQ(
        sql.rows(
            "SELECT \"table\", \"from\", \"to\", on_delete FROM pragma_foreign_key_list('session_samples');"),
        Rows{"sessions|session_id|id|CASCADE"});
}

TEST_F(Schema, newFileHasFourTablesAndThreeIndices) {
    startAndStop();
    Sql sql(path);
    EXPECT_EQ(sql.rows("SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite_%' "
                       "ORDER BY name;"),
              (Rows{"metrics_history", "performance_incidents", "session_samples", "sessions"}));
    // SQLite keeps the text of an index, less the condition.
    EXPECT_EQ(sql.rows("SELECT sql FROM sqlite_schema WHERE type = 'index' ORDER BY name;"),
              (Rows{"CREATE INDEX idx_incidents_started ON performance_incidents(started_at DESC)",
                    "CREATE INDEX idx_metrics_ts ON metrics_history(timestamp)",
                    "CREATE INDEX idx_samples_session ON session_samples(session_id)"}));
    // Every identifier is used once, also after its row is gone.
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM sqlite_schema WHERE type = 'table' AND sql LIKE "
                      "'%(id INTEGER PRIMARY KEY AUTOINCREMENT,%';"),
              "4");
}

TEST_F(Schema, startRunsItsStatementsInOrderAndAltersNothingInANewFile) {
    test::StatementTrace trace;
    startAndStop();
    Rows ran = trace.take();
    // SQLite itself reads the schema back after each creation.
    std::erase_if(ran, [](const std::string& text) { return text.starts_with("SELECT*FROM"); });
    for (std::string& text : ran) {
        if (text.starts_with("CREATE TABLE")) text.resize(text.find(" ("));
    }
    EXPECT_EQ(
        ran,
        (Rows{"PRAGMA foreign_keys = ON;",
              "PRAGMA journal_mode = WAL;",
              "CREATE TABLE IF NOT EXISTS metrics_history",
              "CREATE TABLE IF NOT EXISTS sessions",
              "CREATE TABLE IF NOT EXISTS session_samples",
              "CREATE TABLE IF NOT EXISTS performance_incidents",
              "CREATE INDEX IF NOT EXISTS idx_metrics_ts ON metrics_history(timestamp);",
              "CREATE INDEX IF NOT EXISTS idx_samples_session ON session_samples(session_id);",
              "CREATE INDEX IF NOT EXISTS idx_incidents_started ON performance_incidents(started_at DESC);",
              "PRAGMA table_info(metrics_history);",
              "PRAGMA table_info(metrics_history);",
              "PRAGMA table_info(metrics_history);",
              "PRAGMA table_info(metrics_history);",
              "PRAGMA table_info(metrics_history);",
              "PRAGMA table_info(metrics_history);",
              "PRAGMA table_info(metrics_history);",
              "PRAGMA table_info(metrics_history);",
              "PRAGMA table_info(session_samples);",
              "PRAGMA table_info(performance_incidents);",
              "PRAGMA table_info(performance_incidents);",
              "PRAGMA table_info(performance_incidents);",
              "UPDATE sessions SET ended_at = COALESCE( (SELECT MAX(timestamp) FROM session_samples "
              "WHERE session_id = sessions.id), started_at ) WHERE ended_at IS NULL;",
              "UPDATE performance_incidents SET ended_at = MAX( started_at, COALESCE( "
              "recovery_started_at, (SELECT MAX(timestamp) FROM metrics_history), started_at ) ) "
              "WHERE ended_at IS NULL;",
              "PRAGMA cache_size = -256;"}));
}

TEST_F(Schema, fileIsInWalModeWithForeignKeysOn) {
    test::StatementTrace trace;
    const DatabaseManager store(path, clock);
    sqlite3* const connection = test::StatementTrace::connection();
    std::string answers;
    const auto collect = [](void* all, int, char** values, char**) {
        *static_cast<std::string*>(all) += std::string(values[0]) + " ";
        return 0;
    };
    for (const char* pragma : {"PRAGMA journal_mode;", "PRAGMA foreign_keys;", "PRAGMA busy_timeout;"}) {
        sqlite3_exec(connection, pragma, collect, &answers, nullptr);
    }
    EXPECT_EQ(answers, "wal 1 3000 ");
}

TEST_F(Schema, ensureColumnTakesTheWholeNameAndAddsOnce) {
    path = folder.file("any.sqlite");
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    sqlite3_exec(db, "CREATE TABLE t (a_longer TEXT, b TEXT);", nullptr, nullptr, nullptr);
    ensureColumn("a", "INTEGER NOT NULL DEFAULT 7", "t", db);
    ensureColumn("a", "TEXT", "t", db);
    ensureColumn("b", "INTEGER", "t", db);
    ensureColumn("c", "TEXT", "missing", db);
    sqlite3_close(db);
    Sql sql(path);
    EXPECT_EQ(columns(sql, "t"), (Rows{"a_longer|TEXT|0|NULL|0", "b|TEXT|0|NULL|0", "a|INTEGER|1|7|0"}));
}

TEST_F(Schema, ensureColumnAsksOnceForAFileThatIsHeld) {
    path = folder.file("any.sqlite");
    Sql other(path);
    other.run("CREATE TABLE t (a TEXT); BEGIN EXCLUSIVE;");
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    int asked = 0;
    const auto giveUp = [](void* count, int) {
        ++*static_cast<int*>(count);
        return 0;
    };
    sqlite3_busy_handler(db, giveUp, &asked);
    EXPECT_FALSE(ensureColumn("b", "INTEGER", "t", db));
    EXPECT_EQ(asked, 1);
    other.run("COMMIT;");
    EXPECT_TRUE(ensureColumn("b", "INTEGER", "t", db));
    sqlite3_close(db);
    EXPECT_EQ(columns(other, "t"), (Rows{"a|TEXT|0|NULL|0", "b|INTEGER|0|NULL|0"}));
}

TEST_F(Schema, foldersAndFileAreForTheirOwnerAlone) {
    path = folder.file("share/com.corvanta.app/history.sqlite");
    fs::permissions(folder.path(), fs::perms{0755});
    DatabaseManager store(path, clock);
    store.insertSnapshot(test::sampleAt(test::storeNow));
    const auto mode = [](const fs::path& file) { return fs::status(file).permissions(); };
    EXPECT_EQ(mode(folder.path()), fs::perms{0755}) << "an existing folder is left alone";
    EXPECT_EQ(mode(folder.file("share")), fs::perms{0700});
    EXPECT_EQ(mode(folder.file("share/com.corvanta.app")), fs::perms{0700});
    EXPECT_EQ(mode(path), fs::perms{0600});
    EXPECT_EQ(mode(path + "-wal"), fs::perms{0600});
    EXPECT_EQ(mode(path + "-shm"), fs::perms{0600});
}

TEST_F(Schema, newFileIsForItsOwnerAloneBeforeSQLiteOpensIt) {
    path = folder.file("history.sqlite");
    fs::permissions(folder.path(), fs::perms{0777});
    const test::OpenedModes opened;
    startAndStop();
    ASSERT_FALSE(test::OpenedModes::all().empty());
    EXPECT_EQ(test::OpenedModes::all().front(), "history.sqlite 600");
}

TEST_F(Schema, existingFileWithoutContentIsMadeItsOwnersAloneFirst) {
    path = folder.write("history.sqlite", "");
    fs::permissions(path, fs::perms{0644});
    const test::OpenedModes opened;
    const DatabaseManager store(path, clock);
    EXPECT_EQ(test::OpenedModes::all().front(), "history.sqlite 600");
    for (const char* suffix : {"", "-wal", "-shm"}) {
        EXPECT_EQ(fs::status(path + suffix).permissions(), fs::perms{0600}) << suffix;
    }
}

TEST_F(Schema, existingFileKeepsItsMode) {
    startAndStop();
    fs::permissions(path, fs::perms{0640});
    startAndStop();
    EXPECT_EQ(fs::status(path).permissions(), fs::perms{0640});
}

TEST_F(Schema, secondStartChangesNothing) {
    {
        DatabaseManager store(path, clock);
        store.insertSnapshot(test::sampleAt(test::storeNow));
    }
    Sql(path).run(
        "INSERT INTO sessions (name, started_at, ended_at) VALUES ('s', 1, 2);"
        "INSERT INTO session_samples (session_id, timestamp) VALUES (1, 9);"
        "INSERT INTO performance_incidents (started_at, detected_at, ended_at, kind, severity, created_at) "
        "VALUES (1, 2, 3, 'cpu', 1, 2);");
    const Rows before = Sql(path).dump();
    const std::string bytes = test::readFile(path);
    startAndStop();
    EXPECT_EQ(Sql(path).dump(), before);
    EXPECT_EQ(test::readFile(path), bytes);
}

class OlderSchema : public Schema, public ::testing::WithParamInterface<const char*> {
  protected:
    void SetUp() override {
        path = folder.file("history.sqlite");
        Sql(path).run(test::readFile(std::string(CORVANTA_FIXTURES "/storage/") + GetParam()));
    }
};

TEST_P(OlderSchema, isBroughtUpToDateWithItsRows) {
    DatabaseManager store(path, clock);
    Sql sql(path);
    EXPECT_EQ(sorted(columns(sql, "metrics_history")), sorted(metricsColumns));
    EXPECT_EQ(sorted(columns(sql, "sessions")), sorted(sessionsColumns));
    EXPECT_EQ(sorted(columns(sql, "session_samples")), sorted(samplesColumns));
    EXPECT_EQ(sorted(columns(sql, "performance_incidents")), sorted(incidentsColumns));
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM sqlite_schema WHERE type = 'index';"), "3");

    const auto history = store.fetchHistory(86400);
    ASSERT_EQ(history.size(), 2u);
    EXPECT_EQ(history[0].timestamp, 1799999000);
    EXPECT_EQ(history[0].cpuUsage, 12.5);
    EXPECT_EQ(history[1].downloadSpeed, 210);

    store.insertSnapshot(test::sampleAt(test::storeNow));
    EXPECT_EQ(sql.row("SELECT memory_pressure_state, thermal_state, battery_percentage, is_charging, "
                      "top_cpu_process, top_cpu_usage, top_ram_process, top_ram_bytes FROM metrics_history "
                      "WHERE timestamp = 1800000000;"),
              "2|Fair|80|1|compiler|180.5|browser|4000000000");
}

TEST_P(OlderSchema, isRepairedOnTheSameStart) {
    startAndStop();
    Sql sql(path);
    EXPECT_EQ(sql.rows("SELECT name, ended_at FROM sessions ORDER BY id;"),
              (Rows{"open|1799998003", "done|1799990060"}));
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM performance_incidents WHERE ended_at IS NULL;"), "0");
}

TEST_P(OlderSchema, openedTwiceChangesNothingMore) {
    startAndStop();
    const Rows before = Sql(path).dump();
    test::StatementTrace trace;
    startAndStop();
    for (const std::string& text : trace.take()) EXPECT_FALSE(text.starts_with("ALTER")) << text;
    EXPECT_EQ(Sql(path).dump(), before);
}

INSTANTIATE_TEST_SUITE_P(Files, OlderSchema,
                         ::testing::Values("history-without-context.sql",
                                           "history-without-pressure-state.sql",
                                           "history-without-incident-marks.sql"),
                         [](const auto& fixture) {
                             std::string name = fixture.param;
                             name.resize(name.find('.'));
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

class Repair : public Schema {
  protected:
    /// The rows that a dead program left, then a start.
    void afterCrashWith(const std::string& rows) {
        startAndStop();
        Sql(path).run(rows);
        startAndStop();
    }
    std::string session() { return Sql(path).row("SELECT ended_at FROM sessions;"); }
    std::string incident() {
        return Sql(path).row("SELECT ended_at, recovery_started_at FROM performance_incidents;");
    }
    static std::string openIncident(const std::string& startedAt, const std::string& recoveryStartedAt) {
        return "INSERT INTO performance_incidents (started_at, detected_at, kind, severity, peak_cpu, "
               "recovery_started_at, created_at) VALUES (" +
               startedAt + ", 60, 'cpu', 1, 92.5, " + recoveryStartedAt + ", 60);";
    }
};

TEST_F(Repair, addsTheColumnThatTheRepairNamesBeforeItRuns) {
    path = folder.file("history.sqlite");
    Sql(path).run(test::readFile(CORVANTA_FIXTURES "/storage/history-without-incident-marks.sql"));
    startAndStop();
    EXPECT_EQ(Sql(path).rows("SELECT ended_at, recovery_started_at FROM performance_incidents ORDER BY id;"),
              (Rows{"1799999010|NULL", "1799990200|NULL"}));
}

TEST_F(Repair, openSessionWithoutSamplesEndsAtItsStart) {
    afterCrashWith("INSERT INTO sessions (name, started_at) VALUES ('s', 500);");
    EXPECT_EQ(session(), "500");
}

TEST_F(Repair, openSessionEndsAtItsGreatestSample) {
    afterCrashWith(
        "INSERT INTO sessions (name, started_at) VALUES ('s', 500);"
        "INSERT INTO sessions (name, started_at, ended_at) VALUES ('other', 1, 2);"
        "INSERT INTO session_samples (session_id, timestamp) VALUES (1, 510), (1, 530), (1, 520), (2, 999);");
    EXPECT_EQ(Sql(path).rows("SELECT ended_at FROM sessions ORDER BY id;"), (Rows{"530", "2"}));
}

TEST_F(Repair, openIncidentThatWasRecoveringEndsWhereTheRecoveryBegan) {
    afterCrashWith(openIncident("100", "170") + "INSERT INTO metrics_history (timestamp) VALUES (200);");
    EXPECT_EQ(incident(), "170|170");
}

TEST_F(Repair, openIncidentThatWasNotRecoveringEndsAtTheLastSampleAndStaysInterrupted) {
    afterCrashWith(openIncident("100", "NULL") +
                   "INSERT INTO metrics_history (timestamp) VALUES (200), (150);");
    EXPECT_EQ(incident(), "200|NULL");
}

TEST_F(Repair, openIncidentWithoutAnyHistoryEndsAtItsStartAndStaysInterrupted) {
    afterCrashWith(openIncident("100", "NULL"));
    EXPECT_EQ(incident(), "100|NULL");
}

TEST_F(Repair, openIncidentNeverEndsBeforeItsStart) {
    afterCrashWith(openIncident("100", "NULL") + "INSERT INTO metrics_history (timestamp) VALUES (99);");
    EXPECT_EQ(incident(), "100|NULL");
}

TEST_F(Repair, recoveryBeforeTheStartEndsAtTheStart) {
    afterCrashWith(openIncident("100", "90"));
    EXPECT_EQ(incident(), "100|90");
}

TEST_F(Repair, keepsTheEvidenceOfTheRow) {
    afterCrashWith(openIncident("100", "NULL"));
    EXPECT_EQ(Sql(path).row("SELECT peak_cpu, worst_thermal_state, sample_count FROM performance_incidents;"),
              "92.5|Nominal|0");
}

TEST_F(Schema, sharedInstanceIsOneAndLiesAtTheProgramsPath) {
    // The instance outlives the test, and so does its folder.
    static const test::TempDirectory home;
    const std::string file = home.file("data/com.corvanta.app/history.sqlite");
    setApplicationPaths({.settingsFile = home.file("settings.json"), .databaseFile = file});
    DatabaseManager& store = DatabaseManager::shared();
    EXPECT_EQ(&store, &DatabaseManager::shared());
    EXPECT_EQ(store.state(), StoreState::ready);
    SnapshotValues values = test::sampleAt(0);
    values.timestamp = SystemClock().now();
    store.insertSnapshot(values);
    EXPECT_EQ(store.fetchHistory().size(), 1u);
    EXPECT_TRUE(fs::exists(file));
}

}  // namespace
}  // namespace corvanta
