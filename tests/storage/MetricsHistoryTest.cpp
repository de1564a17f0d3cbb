// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <limits>

#include "core/NumberText.h"
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

class MetricsHistory : public ::testing::Test {
  protected:
    void insertAgedBy(std::int64_t seconds) {
        store.insertSnapshot(sampleAt(static_cast<double>(storeNow - seconds)));
    }

    test::TempDirectory folder;
    test::FakeClock clock;
    test::CapturedLog log;
    DatabaseManager store{folder.file("history.sqlite"), clock};
    Sql sql{folder.file("history.sqlite")};
};

TEST_F(MetricsHistory, insertWritesEveryColumn) {
    store.insertSnapshot(sampleAt(storeNow));
    EXPECT_EQ(sql.row("SELECT * FROM metrics_history;"),
              "1|1800000000|12.5|40.25|50000000000.0|100.5|2000.75|41.5|2|Fair|80|1|compiler|180.5|browser|"
              "4000000000");
    EXPECT_EQ(log.lines(), Rows{});
}

TEST_F(MetricsHistory, emptyTableGivesEmptyResults) {
    EXPECT_TRUE(store.fetchHistory().empty());
    EXPECT_TRUE(store.fetchMetricValues("cpu_usage", 86400).empty());
    EXPECT_FALSE(store.averageCPU(86400).has_value());
    EXPECT_FALSE(store.weeklyStats(604800).has_value());
    EXPECT_TRUE(store.detectTrends().empty());
}

TEST_F(MetricsHistory, timestampIsTruncatedTowardsZero) {
    for (const double seconds : {1'799'999'999.999, 1.5, -1.5}) store.insertSnapshot(sampleAt(seconds));
    EXPECT_EQ(sql.rows("SELECT timestamp FROM metrics_history ORDER BY id;"),
              (Rows{"1799999999", "1", "-1"}));
}

TEST_F(MetricsHistory, emptyTextsAreStoredAsNull) {
    SnapshotValues values = sampleAt(storeNow);
    values.thermalState = "";
    values.topCPUProcess = "";
    values.topRAMProcess = "";
    store.insertSnapshot(values);
    EXPECT_EQ(sql.row("SELECT thermal_state, top_cpu_process, top_ram_process FROM metrics_history;"),
              "NULL|NULL|NULL");
}

TEST_F(MetricsHistory, batteryAndProcessesCanBeAbsentInAnyCombination) {
    Rows expected;
    for (unsigned set = 0; set < 16; ++set) {
        SnapshotValues values = sampleAt(storeNow);
        if ((set & 1u) == 0) values.batteryPercentage.reset();
        if ((set & 2u) == 0) values.isCharging.reset();
        if ((set & 4u) == 0) values.topCPUProcess.reset();
        if ((set & 8u) == 0) values.topRAMProcess.reset();
        store.insertSnapshot(values);
        expected.push_back(std::string((set & 1u) == 0 ? "NULL" : "80") + ((set & 2u) == 0 ? "|NULL" : "|1") +
                           ((set & 4u) == 0 ? "|NULL" : "|compiler") +
                           ((set & 8u) == 0 ? "|NULL" : "|browser"));
    }
    EXPECT_EQ(sql.rows("SELECT battery_percentage, is_charging, top_cpu_process, top_ram_process "
                       "FROM metrics_history ORDER BY id;"),
              expected);
    EXPECT_EQ(log.lines(), Rows{});
}

TEST_F(MetricsHistory, chargingIsStoredAsZeroOrOne) {
    SnapshotValues values = sampleAt(storeNow);
    values.isCharging = false;
    store.insertSnapshot(values);
    values.isCharging = true;
    store.insertSnapshot(values);
    EXPECT_EQ(sql.rows("SELECT is_charging FROM metrics_history ORDER BY id;"), (Rows{"0", "1"}));
}

TEST_F(MetricsHistory, byteCountIsClampedToTheLargestSignedValue) {
    SnapshotValues values = sampleAt(storeNow);
    for (const std::uint64_t bytes :
         {std::uint64_t{0}, std::uint64_t{9223372036854775807u}, std::uint64_t{9223372036854775808u},
          std::numeric_limits<std::uint64_t>::max()}) {
        values.topRAMBytes = bytes;
        store.insertSnapshot(values);
    }
    EXPECT_EQ(sql.rows("SELECT top_ram_bytes FROM metrics_history ORDER BY id;"),
              (Rows{"0", "9223372036854775807", "9223372036854775807", "9223372036854775807"}));
}

TEST_F(MetricsHistory, everyLevelIsStoredByItsRawValueAndReadBack) {
    SnapshotValues values = sampleAt(storeNow);
    for (const MemoryPressureLevel level : allMemoryPressureLevels) {
        values.pressureState = level;
        store.insertSnapshot(values);
    }
    EXPECT_EQ(sql.rows("SELECT memory_pressure_state FROM metrics_history ORDER BY id;"),
              (Rows{"0", "1", "2", "4"}));
    const auto history = store.fetchHistory();
    ASSERT_EQ(history.size(), allMemoryPressureLevels.size());
    for (std::size_t i = 0; i < history.size(); ++i) {
        EXPECT_EQ(history[i].memoryPressureState, allMemoryPressureLevels[i]);
    }
}

TEST_F(MetricsHistory, notANumberIsStoredAsNullAndReadsAsZero) {
    SnapshotValues values = sampleAt(storeNow);
    values.cpu = std::nan("");
    store.insertSnapshot(values);
    EXPECT_EQ(sql.row("SELECT cpu_usage FROM metrics_history;"), "NULL");
    EXPECT_EQ(store.fetchHistory().at(0).cpuUsage, 0);
}

TEST_F(MetricsHistory, whatIsNotFiniteReadsBackAsAbsentAndKeepsItsRow) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double odd : {infinity, -infinity, std::nan("")}) {
        SnapshotValues values = sampleAt(storeNow);
        values.cpu = values.ram = values.diskFree = values.upload = values.download = values.pressure =
            values.topCPUUsage = odd;
        store.insertSnapshot(values);
    }
    EXPECT_EQ(sql.rows("SELECT cpu_usage, ram_usage, disk_free, upload_speed, download_speed, "
                       "memory_pressure, top_cpu_usage, top_cpu_process FROM metrics_history;"),
              Rows(3, "NULL|NULL|NULL|NULL|NULL|NULL|NULL|compiler"));
    EXPECT_EQ(store.fetchHistory().size(), 3u);
    for (const char* column :
         {"cpu_usage", "ram_usage", "disk_free", "upload_speed", "download_speed", "memory_pressure"}) {
        EXPECT_TRUE(store.fetchMetricValues(column, 60).empty()) << column;
    }
    EXPECT_FALSE(store.averageCPU(60).has_value());
    EXPECT_EQ(log.lines(), Rows{});
}

TEST_F(MetricsHistory, historyReadsBackWhatWasWritten) {
    store.insertSnapshot(sampleAt(storeNow));
    EXPECT_EQ(store.fetchHistory(),
              (std::vector<SystemSnapshot>{{.timestamp = storeNow,
                                            .cpuUsage = 12.5,
                                            .ramUsage = 40.25,
                                            .diskFree = 5e10,
                                            .uploadSpeed = 100.5,
                                            .downloadSpeed = 2000.75,
                                            .memoryPressure = 41.5,
                                            .memoryPressureState = MemoryPressureLevel::warning,
                                            .thermalState = "Fair",
                                            .topCPUProcess = "compiler",
                                            .topCPUUsage = 180.5}}));
}

TEST_F(MetricsHistory, historyIsOldestFirst) {
    for (const std::int64_t age : {20, 40, 10, 30}) insertAgedBy(age);
    std::vector<std::int64_t> timestamps;
    for (const SystemSnapshot& row : store.fetchHistory()) timestamps.push_back(row.timestamp);
    EXPECT_EQ(timestamps,
              (std::vector<std::int64_t>{storeNow - 40, storeNow - 30, storeNow - 20, storeNow - 10}));
}

TEST_F(MetricsHistory, rowExactlyAtTheBeginningOfThePeriodCounts) {
    insertAgedBy(101);
    insertAgedBy(100);
    EXPECT_EQ(store.fetchHistory(100).size(), 1u);
    EXPECT_EQ(store.fetchMetricValues("cpu_usage", 100).size(), 1u);
    EXPECT_EQ(store.weeklyStats(100)->sampleCount, 1);
    EXPECT_TRUE(store.averageCPU(100).has_value());
    EXPECT_FALSE(store.averageCPU(99).has_value());
    EXPECT_FALSE(store.weeklyStats(99).has_value());
}

TEST_F(MetricsHistory, presentMomentIsCutToWholeSeconds) {
    insertAgedBy(100);
    clock.advance(0.99);
    EXPECT_EQ(store.fetchHistory(100).size(), 1u);
}

TEST_F(MetricsHistory, defaultPeriodIsOneDay) {
    insertAgedBy(86401);
    insertAgedBy(86400);
    EXPECT_EQ(store.fetchHistory().size(), 1u);
}

TEST_F(MetricsHistory, periodOfAnyLengthIsTaken) {
    insertAgedBy(100);
    EXPECT_EQ(store.fetchHistory(std::numeric_limits<std::int64_t>::max()).size(), 1u);
    EXPECT_TRUE(store.fetchHistory(std::numeric_limits<std::int64_t>::min()).empty());
    EXPECT_TRUE(store.fetchHistory(-1).empty());
    EXPECT_TRUE(store.fetchHistory(0).empty());
}

TEST_F(MetricsHistory, periodOfAnyLengthIsTakenAlsoByAClockThatStandsBefore1970) {
    clock.setNow(instantFromSeconds(-100));
    store.insertSnapshot(sampleAt(-200));
    EXPECT_EQ(store.fetchHistory(std::numeric_limits<std::int64_t>::max()).size(), 1u);
    EXPECT_EQ(store.fetchHistory(100).size(), 1u);
    EXPECT_TRUE(store.fetchHistory(99).empty());
}

TEST_F(MetricsHistory, wallClockThatJumpedBackStillFindsTheRowsAheadOfIt) {
    insertAgedBy(0);
    clock.setNow(instantFromSeconds(static_cast<double>(storeNow - 7 * 86400)));
    store.insertSnapshot(sampleAt(static_cast<double>(storeNow - 7 * 86400)));
    const auto history = store.fetchHistory(60);
    ASSERT_EQ(history.size(), 2u);
    EXPECT_EQ(history[0].timestamp, storeNow - 7 * 86400);
    EXPECT_EQ(history[1].timestamp, storeNow);
}

TEST_F(MetricsHistory, wallClockThatJumpedAheadLeavesTheRowsBehind) {
    insertAgedBy(0);
    clock.setNow(instantFromSeconds(static_cast<double>(storeNow + 86401)));
    EXPECT_TRUE(store.fetchHistory().empty());
    EXPECT_EQ(store.fetchHistory(86401).size(), 1u);
}

TEST_F(MetricsHistory, nullsReadAsZeroOrAbsent) {
    sql.run("INSERT INTO metrics_history (timestamp) VALUES (1799999999);");
    SystemSnapshot expected;
    expected.timestamp = 1'799'999'999;
    EXPECT_EQ(store.fetchHistory(), std::vector{expected});
}

TEST_F(MetricsHistory, levelThatNoCaseHasReadsAsUnavailable) {
    // The last one would be `normal` in 32 bits.
    for (const char* raw : {"3", "5", "-1", "'text'", "4294967297"}) {
        sql.run("INSERT INTO metrics_history (timestamp, memory_pressure_state) VALUES (1799999999, " +
                std::string(raw) + ");");
    }
    const auto history = store.fetchHistory();
    ASSERT_EQ(history.size(), 5u);
    for (const SystemSnapshot& row : history) {
        EXPECT_EQ(row.memoryPressureState, MemoryPressureLevel::unavailable);
    }
}

TEST_F(MetricsHistory, textsOfAnyBytesComeBackUnchanged) {
    SnapshotValues values = sampleAt(storeNow);
    values.topCPUProcess = std::string("a\0b", 3);
    values.thermalState = "kühl \xff '; DROP TABLE metrics_history; --";
    store.insertSnapshot(values);
    const auto history = store.fetchHistory();
    ASSERT_EQ(history.size(), 1u);
    EXPECT_EQ(history[0].topCPUProcess, values.topCPUProcess);
    EXPECT_EQ(history[0].thermalState, values.thermalState);
}

TEST_F(MetricsHistory, metricValuesAreThoseOfTheColumnOldestFirst) {
    insertAgedBy(10);
    SnapshotValues older = sampleAt(static_cast<double>(storeNow - 20));
    older.cpu = 1;
    older.ram = 2;
    older.diskFree = 3;
    older.upload = 4;
    older.download = 5;
    older.pressure = 6;
    store.insertSnapshot(older);
    using Values = std::vector<double>;
    EXPECT_EQ(store.fetchMetricValues("cpu_usage", 60), (Values{1, 12.5}));
    EXPECT_EQ(store.fetchMetricValues("ram_usage", 60), (Values{2, 40.25}));
    EXPECT_EQ(store.fetchMetricValues("disk_free", 60), (Values{3, 5e10}));
    EXPECT_EQ(store.fetchMetricValues("upload_speed", 60), (Values{4, 100.5}));
    EXPECT_EQ(store.fetchMetricValues("download_speed", 60), (Values{5, 2000.75}));
    EXPECT_EQ(store.fetchMetricValues("memory_pressure", 60), (Values{6, 41.5}));
}

TEST_F(MetricsHistory, metricValuesSkipNulls) {
    insertAgedBy(30);
    sql.run("INSERT INTO metrics_history (timestamp) VALUES (1799999980);");
    insertAgedBy(10);
    EXPECT_EQ(store.fetchMetricValues("cpu_usage", 60), (std::vector<double>{12.5, 12.5}));
}

TEST_F(MetricsHistory, metricValuesSkipTextsAndBlobs) {
    for (const char* cell : {"7", "'busy'", "''", "X'3132'", "8.5"}) {
        sql.run("INSERT INTO metrics_history (timestamp, cpu_usage) VALUES (1799999980, " +
                std::string(cell) + ");");
    }
    ASSERT_EQ(sql.rows("SELECT typeof(cpu_usage) FROM metrics_history ORDER BY id;"),
              (Rows{"real", "text", "text", "blob", "real"}));
    EXPECT_EQ(store.fetchMetricValues("cpu_usage", 60), (std::vector<double>{7, 8.5}));
}

TEST_F(MetricsHistory, metricValuesOfAnyOtherColumnAreEmptyAndRunNoStatement) {
    test::StatementTrace trace;
    DatabaseManager traced(folder.file("history.sqlite"), clock);
    traced.insertSnapshot(sampleAt(storeNow));
    trace.take();
    for (const char* column : {"thermal_state", "top_cpu_usage", "memory_pressure_state", "timestamp", "id",
                               "", "CPU_USAGE", "cpu_usage ", "cpu_usage FROM metrics_history; --", "*"}) {
        EXPECT_TRUE(traced.fetchMetricValues(column, 86400).empty()) << column;
    }
    EXPECT_EQ(trace.take(), Rows{});
    EXPECT_EQ(traced.fetchMetricValues("cpu_usage", 86400).size(), 1u);
    EXPECT_EQ(trace.take(),
              Rows{"SELECT cpu_usage FROM metrics_history WHERE timestamp >= ? ORDER BY timestamp ASC;"});
}

TEST_F(MetricsHistory, whatAWeekIsReadThroughDoesNotStayInMemory) {
    sql.run(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 60000) INSERT INTO "
        "metrics_history (timestamp, cpu_usage) SELECT " +
        integerText(storeNow) + " - i * 10, 20 FROM n;");
    for (const StoreAccess access : {StoreAccess::readWrite, StoreAccess::readOnly, StoreAccess::companion}) {
        test::StatementTrace trace;
        const DatabaseManager reader(folder.file("history.sqlite"), clock, access);
        EXPECT_EQ(reader.fetchMetricValues("cpu_usage", 604800).size(), 60000u);
        int used = 0;
        int highest = 0;
        sqlite3_db_status(test::StatementTrace::connection(), SQLITE_DBSTATUS_CACHE_USED, &used, &highest, 0);
        EXPECT_GT(used, 0);
        EXPECT_LT(used, 300 * 1024);
    }
}

TEST_F(MetricsHistory, averageLeavesNullsOut) {
    sql.run("INSERT INTO metrics_history (timestamp) VALUES (1799999980);");
    EXPECT_FALSE(store.averageCPU(60).has_value()) << "no row of the period has a value";
    store.insertSnapshot(sampleAt(static_cast<double>(storeNow - 10), 10, 0));
    store.insertSnapshot(sampleAt(static_cast<double>(storeNow - 5), 40, 0));
    EXPECT_EQ(store.averageCPU(60), 25.0);
}

TEST_F(MetricsHistory, weeklyStatsAggregateThePeriod) {
    SnapshotValues values = sampleAt(static_cast<double>(storeNow - 604801));
    values.cpu = 100;
    store.insertSnapshot(values);
    values = sampleAt(static_cast<double>(storeNow - 604800), 10, 20);
    values.diskFree = 300;
    values.upload = 1;
    values.download = 100;
    store.insertSnapshot(values);
    values = sampleAt(static_cast<double>(storeNow - 5), 30, 80);
    values.diskFree = 200;
    values.upload = 4;
    values.download = 300;
    store.insertSnapshot(values);
    const DatabaseManager::WeeklyStats expected = {
        .sampleCount = 2,
        .earliest = instantFromSeconds(static_cast<double>(storeNow - 604800)),
        .latest = instantFromSeconds(static_cast<double>(storeNow - 5)),
        .avgCPU = 20,
        .peakCPU = 30,
        .avgPressure = 50,
        .peakPressure = 80,
        .minDiskFree = 200,
        .avgUpload = 2.5,
        .avgDownload = 200};
    EXPECT_EQ(store.weeklyStats(604800), expected);
}

TEST_F(MetricsHistory, weeklyStatsOfNullsAreZero) {
    sql.run("INSERT INTO metrics_history (timestamp) VALUES (1799999980);");
    const auto stats = store.weeklyStats(60);
    ASSERT_TRUE(stats.has_value());
    EXPECT_EQ(stats->sampleCount, 1);
    EXPECT_EQ(stats->peakCPU, 0);
    EXPECT_EQ(stats->minDiskFree, 0);
}

TEST_F(MetricsHistory, everyOperationRunsItsOwnStatementAndLeavesNoneBehind) {
    test::StatementTrace trace;
    DatabaseManager traced(folder.file("history.sqlite"), clock);
    trace.take();
    traced.insertSnapshot(sampleAt(storeNow));
    traced.fetchHistory();
    traced.averageCPU(60);
    traced.weeklyStats(60);
    traced.detectTrends();
    traced.pruneOldRecords();
    const std::string history =
        "SELECT timestamp, cpu_usage, ram_usage, disk_free, upload_speed, download_speed, memory_pressure, "
        "memory_pressure_state, thermal_state, top_cpu_process, top_cpu_usage FROM metrics_history WHERE "
        "timestamp >= ? ORDER BY timestamp ASC;";
    Rows ran = trace.take();
    ran.resize(6);
    EXPECT_EQ(
        ran,
        (Rows{"INSERT INTO metrics_history (timestamp, cpu_usage, ram_usage, disk_free, upload_speed, "
              "download_speed, memory_pressure, memory_pressure_state, thermal_state, battery_percentage, "
              "is_charging, top_cpu_process, top_cpu_usage, top_ram_process, top_ram_bytes) VALUES (?, ?, "
              "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);",
              history, "SELECT AVG(cpu_usage) FROM metrics_history WHERE timestamp >= ?;",
              "SELECT COUNT(*), MIN(timestamp), MAX(timestamp), AVG(cpu_usage), MAX(cpu_usage), "
              "AVG(memory_pressure), MAX(memory_pressure), MIN(disk_free), AVG(upload_speed), "
              "AVG(download_speed) FROM metrics_history WHERE timestamp >= ?;",
              history, history}));
    EXPECT_EQ(sqlite3_next_stmt(test::StatementTrace::connection(), nullptr), nullptr);
}

RC_GTEST_FIXTURE_PROP(MetricsHistory, anyFiniteSampleComesBack, ()) {
    const auto finite = rc::gen::suchThat<double>([](double value) { return std::isfinite(value); });
    SnapshotValues values = sampleAt(storeNow);
    values.cpu = *finite;
    values.ram = *finite;
    values.diskFree = *finite;
    values.upload = *finite;
    values.download = *finite;
    values.pressure = *finite;
    values.topCPUUsage = *finite;
    values.thermalState = *rc::gen::arbitrary<std::string>();
    values.topCPUProcess = *rc::gen::arbitrary<std::string>();
    store.insertSnapshot(values);
    const auto history = store.fetchHistory();
    RC_ASSERT(!history.empty());
    const SystemSnapshot& row = history.back();
    RC_ASSERT(row.cpuUsage == values.cpu);
    RC_ASSERT(row.ramUsage == values.ram);
    RC_ASSERT(row.diskFree == values.diskFree);
    RC_ASSERT(row.uploadSpeed == values.upload);
    RC_ASSERT(row.downloadSpeed == values.download);
    RC_ASSERT(row.memoryPressure == values.pressure);
    RC_ASSERT(row.topCPUUsage == values.topCPUUsage);
    RC_ASSERT(row.thermalState.value_or("") == values.thermalState);
    RC_ASSERT(row.topCPUProcess.value_or("") == *values.topCPUProcess);
}

}  // namespace
}  // namespace corvanta
