// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <limits>
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
using Rows = std::vector<std::string>;

Instant at(double seconds) {
    return instantFromSeconds(seconds);
}

class PerformanceIncidents : public ::testing::Test {
  protected:
    /// An incident that began a minute ago and is found now.
    std::int64_t create(IncidentKind kind = IncidentKind::cpu,
                        IncidentSeverity severity = IncidentSeverity::warning) {
        const auto id = store.createIncident({at(storeNow - 60), kind, severity}, at(storeNow));
        EXPECT_TRUE(id.has_value());
        return id.value_or(0);
    }
    std::string columns(std::int64_t id, const std::string& names) {
        return sql.row("SELECT " + names + " FROM performance_incidents WHERE id = " + std::to_string(id) +
                       ";");
    }
    void insertRow(double seconds, double cpu) { store.insertSnapshot(sampleAt(seconds, cpu, cpu / 2)); }

    test::TempDirectory folder;
    std::string path = folder.file("history.sqlite");
    test::FakeClock clock;
    test::CapturedLog log;
    DatabaseManager store{path, clock};
    Sql sql{path};
};

constexpr const char* evidence =
    "peak_cpu, peak_memory_pressure, worst_memory_pressure_state, peak_network, min_battery, "
    "worst_thermal_state, top_cpu_process, top_cpu_usage, top_ram_process, top_ram_bytes, sample_count";

TEST_F(PerformanceIncidents, aNewIncidentIsWrittenInWholeSeconds) {
    const auto id = store.createIncident(
        {at(storeNow - 60.25), IncidentKind::memory, IncidentSeverity::critical}, at(storeNow - 0.5));
    ASSERT_EQ(id, 1);
    EXPECT_EQ(sql.row("SELECT id, started_at, detected_at, ended_at, kind, severity, dismissed_at, "
                      "recovery_started_at, created_at FROM performance_incidents;"),
              "1|1799999939|1799999999|NULL|memory|2|NULL|NULL|1800000000");
    EXPECT_EQ(store.createIncident({at(0), IncidentKind::cpu, IncidentSeverity::warning}, at(60)), 2);
}

TEST_F(PerformanceIncidents, aNewIncidentHasTheEvidenceOfTheMinuteBeforeIt) {
    for (int age = 70; age >= 0; age -= 10) insertRow(storeNow - age, age == 70 ? 99 : 90 - age / 10);
    insertRow(storeNow + 1, 98);
    const auto id = create();
    EXPECT_EQ(columns(id, "peak_cpu, sample_count"), "90.0|7");
    EXPECT_EQ(columns(id, evidence), "90.0|45.0|2|2101.25|80|Fair|compiler|180.5|browser|4000000000|7");
}

TEST_F(PerformanceIncidents, aNewIncidentWithoutHistoryHasNoEvidence) {
    insertRow(storeNow - 61, 99);
    EXPECT_EQ(columns(create(), evidence), "0.0|0.0|0|0.0|NULL|Nominal|NULL|0.0|NULL|0|0");
}

TEST_F(PerformanceIncidents, evidenceOfHistoryKnowsNullsAndNegativeRates) {
    sql.run(
        "INSERT INTO metrics_history (timestamp, cpu_usage, upload_speed, download_speed, "
        "memory_pressure_state, "
        "thermal_state, battery_percentage, top_cpu_process, top_cpu_usage, top_ram_process, top_ram_bytes) "
        "VALUES (1799999950, NULL, -1, 100, 1, NULL, NULL, '', 300, NULL, 9), "
        "(1799999960, 12.5, 60, NULL, 4, 'sErIoUs', 40, 'a', 200, 'x', NULL), "
        "(1799999970, NULL, 30, -5, 2, 'Fair', 41, 'b', NULL, '', 7), "
        "(1799999980, NULL, NULL, NULL, 0, 'Sauna', NULL, NULL, NULL, 'y', 5);");
    // A rate that is missing makes its row's sum missing too.
    EXPECT_EQ(columns(create(), evidence), "12.5|0.0|4|100.0|40|sErIoUs|a|300.0|y|9|4");
}

TEST_F(PerformanceIncidents, theStoredSeverityRisesAndNeverFalls) {
    const auto id = create();
    store.updateIncidentClassification(id, IncidentKind::combined, IncidentSeverity::critical);
    EXPECT_EQ(columns(id, "kind, severity"), "combined|2");
    store.updateIncidentClassification(id, IncidentKind::thermal, IncidentSeverity::warning);
    EXPECT_EQ(columns(id, "kind, severity"), "thermal|2");
}

TEST_F(PerformanceIncidents, theStartOfRecoveryIsSetAndCleared) {
    const auto id = create();
    store.setIncidentRecoveryStarted(id, at(storeNow + 5.75));
    EXPECT_EQ(columns(id, "recovery_started_at"), "1800000005");
    store.setIncidentRecoveryStarted(id, std::nullopt);
    EXPECT_EQ(columns(id, "recovery_started_at"), "NULL");
}

IncidentObservation fullObservation() {
    IncidentObservation observation;
    observation.timestamp = at(storeNow);
    observation.cpuUsage = 91.5;
    observation.estimatedMemoryPressure = 61.25;
    observation.memoryPressureState = MemoryPressureLevel::warning;
    observation.thermalState = "Serious";
    observation.uploadSpeed = 1000;
    observation.downloadSpeed = -1;
    observation.batteryPercentage = 55;
    observation.topCPUProcess = "compiler";
    observation.topCPUUsage = 140;
    observation.topRAMProcess = "browser";
    observation.topRAMBytes = 2'000'000;
    return observation;
}

TEST_F(PerformanceIncidents, anObservationRaisesWhatIsBelowIt) {
    const auto id = create();
    store.updateIncidentEvidence(id, fullObservation());
    EXPECT_EQ(columns(id, evidence), "91.5|61.25|2|1000.0|55|Serious|compiler|140.0|browser|2000000|1");

    IncidentObservation lower;  // nothing known but a lower charge and names
    lower.batteryPercentage = 54;
    lower.topCPUProcess = "editor";
    lower.topCPUUsage = 140;
    lower.topRAMProcess = "editor";
    lower.topRAMBytes = 2'000'000;
    store.updateIncidentEvidence(id, lower);
    EXPECT_EQ(columns(id, evidence), "91.5|61.25|2|1000.0|54|Serious|compiler|140.0|browser|2000000|2");

    IncidentObservation higher = fullObservation();
    higher.memoryPressureState = MemoryPressureLevel::critical;
    higher.topCPUProcess = "linker";
    higher.topCPUUsage = 140.5;
    higher.topRAMProcess = "";
    higher.topRAMBytes = 2'000'001;
    store.updateIncidentEvidence(id, higher);
    // The largest figure is nobody's now: its process had no name.
    EXPECT_EQ(columns(id, evidence), "91.5|61.25|4|1000.0|54|Serious|linker|140.5|NULL|2000001|3");
}

TEST_F(PerformanceIncidents, theBatteryIsUnknownUntilASampleHasOneAndThenTheLowest) {
    const auto id = create();
    const auto observe = [&](std::optional<std::int64_t> percentage) {
        IncidentObservation observation;
        observation.batteryPercentage = percentage;
        store.updateIncidentEvidence(id, observation);
        return columns(id, "min_battery");
    };
    EXPECT_EQ(observe(std::nullopt), "NULL");
    EXPECT_EQ(observe(50), "50");
    EXPECT_EQ(observe(std::nullopt), "50");
    EXPECT_EQ(observe(51), "50");
    EXPECT_EQ(observe(0), "0");
}

TEST_F(PerformanceIncidents, theThermalWordClimbsItsLadderAndNeverFalls) {
    const std::vector<std::string> ladder = {"Nominal", "Fair", "Serious", "Critical"};
    for (std::size_t before = 0; before < ladder.size(); ++before) {
        for (std::size_t next = 0; next < ladder.size(); ++next) {
            const auto id = create();
            sql.run("UPDATE performance_incidents SET worst_thermal_state = '" + ladder[before] +
                    "' WHERE id = " + std::to_string(id) + ";");
            IncidentObservation observation;
            observation.thermalState = ladder[next];
            store.updateIncidentEvidence(id, observation);
            EXPECT_EQ(columns(id, "worst_thermal_state"), ladder[std::max(before, next)])
                << ladder[before] << " then " << ladder[next];
        }
    }
    // What history leaves there on a machine without a sensor, or in other capitals.
    using Step = std::array<const char*, 3>;
    for (const auto& [before, next, after] :
         {Step{"Unknown", "Fair", "Unknown"}, Step{"Unknown", "Serious", "Serious"},
          Step{"sErIoUs", "Fair", "sErIoUs"}, Step{"fair", "Critical", "Critical"}}) {
        const auto id = create();
        sql.run("UPDATE performance_incidents SET worst_thermal_state = '" + std::string(before) +
                "' WHERE id = " + std::to_string(id) + ";");
        IncidentObservation observation;
        observation.thermalState = next;
        store.updateIncidentEvidence(id, observation);
        EXPECT_EQ(columns(id, "worst_thermal_state"), after) << before << " then " << next;
    }
    const auto id = create();
    for (const char* word : {"", "Unknown", "critical", "SERIOUS", "Fairly"}) {
        IncidentObservation observation;
        observation.thermalState = word;
        store.updateIncidentEvidence(id, observation);
        EXPECT_EQ(columns(id, "worst_thermal_state"), "Nominal") << word;
    }
}

TEST_F(PerformanceIncidents, aByteCountBeyondTheColumnIsHeldAtItsLargest) {
    const auto id = create();
    IncidentObservation observation = fullObservation();
    observation.topRAMBytes = std::numeric_limits<std::uint64_t>::max();
    store.updateIncidentEvidence(id, observation);
    EXPECT_EQ(columns(id, "top_ram_bytes"), "9223372036854775807");
}

TEST_F(PerformanceIncidents, aFigureThatIsNoNumberMakesItsSampleNoEvidence) {
    const auto id = create();
    store.updateIncidentEvidence(id, fullObservation());
    const std::string before = columns(id, evidence);
    IncidentObservation odd = fullObservation();
    odd.batteryPercentage = 1;
    odd.cpuUsage = std::numeric_limits<double>::quiet_NaN();
    store.updateIncidentEvidence(id, odd);
    EXPECT_EQ(columns(id, evidence), before);
    odd.cpuUsage = 92;
    store.updateIncidentEvidence(id, odd);
    EXPECT_EQ(columns(id, "peak_cpu, min_battery, sample_count"), "92.0|1|2");
}

TEST_F(PerformanceIncidents, hostileNamesAreKeptByteForByte) {
    const std::string name =
        "a\"b,c'); DROP TABLE metrics_history;--\n\xe2\x80\xae"
        "d";
    const auto id = create();
    IncidentObservation observation = fullObservation();
    observation.topCPUProcess = name;
    store.updateIncidentEvidence(id, observation);
    ASSERT_EQ(store.fetchIncidents().size(), 1u);
    EXPECT_EQ(store.fetchIncidents()[0].topCPUProcess, name);
}

TEST_F(PerformanceIncidents, anEndWithoutARecoveryCountsAsItsOwn) {
    const auto id = create();
    store.endIncident(id, at(storeNow + 20.9));
    EXPECT_EQ(columns(id, "ended_at, recovery_started_at"), "1800000020|1800000020");
    EXPECT_TRUE(store.fetchIncidents()[0].hasConfirmedRecovery());
}

TEST_F(PerformanceIncidents, anEndLeavesTheStartOfRecovery) {
    const auto id = create();
    store.setIncidentRecoveryStarted(id, at(storeNow + 7));
    store.endIncident(id, at(storeNow + 9));
    EXPECT_EQ(columns(id, "ended_at, recovery_started_at"), "1800000009|1800000007");
}

TEST_F(PerformanceIncidents, anEndBeforeTheStartIsTheStartAndTheSpanOneSecond) {
    insertRow(storeNow - 60, 77);
    insertRow(storeNow - 59, 99);
    insertRow(storeNow - 61, 98);
    const auto id = create();
    store.endIncident(id, at(storeNow - 100));
    EXPECT_EQ(columns(id, "ended_at, recovery_started_at, peak_cpu, sample_count"),
              "1799999940|1799999940|77.0|1");
}

TEST_F(PerformanceIncidents, whatWasSeenAfterTheEndIsNoEvidence) {
    insertRow(storeNow - 30, 88);
    const auto id = create();
    for (int i = 1; i <= 9; ++i) {
        insertRow(storeNow + 10 * i, 95);
        IncidentObservation observation = fullObservation();
        observation.cpuUsage = 95;
        store.updateIncidentEvidence(id, observation);
    }
    EXPECT_EQ(columns(id, "peak_cpu, sample_count"), "95.0|10");
    store.endIncident(id, at(storeNow + 9));
    EXPECT_EQ(columns(id, "peak_cpu, sample_count"), "88.0|1");
}

TEST_F(PerformanceIncidents, anEndedIncidentChangesNoMore) {
    insertRow(storeNow - 30, 88);
    const auto id = create();
    store.endIncident(id, at(storeNow));
    const Rows before = sql.rows("SELECT * FROM performance_incidents;");
    insertRow(storeNow - 20, 99);
    store.endIncident(id, at(storeNow + 100));
    store.updateIncidentEvidence(id, fullObservation());
    store.updateIncidentClassification(id, IncidentKind::combined, IncidentSeverity::critical);
    store.setIncidentRecoveryStarted(id, at(storeNow + 3));
    store.setIncidentRecoveryStarted(id, std::nullopt);
    EXPECT_EQ(sql.rows("SELECT * FROM performance_incidents;"), before);
}

TEST_F(PerformanceIncidents, anEndOfNoRowComputesNothing) {
    create();
    test::StatementTrace trace;
    DatabaseManager traced(path, clock);  // which ends what is open
    trace.take();
    traced.endIncident(1, at(storeNow));
    traced.endIncident(77, at(storeNow));
    EXPECT_EQ(trace.take().size(), 2u);
}

TEST_F(PerformanceIncidents, theLimitIsHeldBetweenOneAndFiveHundred) {
    for (int i = 0; i < 510; ++i) {
        store.createIncident({at(i), IncidentKind::cpu, IncidentSeverity::warning}, at(i + 60));
    }
    for (const auto& [limit, count] : std::vector<std::pair<std::int64_t, std::size_t>>{
             {-5, 1}, {0, 1}, {1, 1}, {2, 2}, {499, 499}, {500, 500}, {501, 500}, {1000, 500}}) {
        EXPECT_EQ(store.fetchIncidents(limit).size(), count) << limit;
    }
    EXPECT_EQ(store.fetchIncidents().size(), 100u);
    EXPECT_EQ(store.fetchIncidents(1)[0].startedAt, at(509));
    EXPECT_EQ(store.fetchIncidents(500)[499].startedAt, at(10));
}

TEST_F(PerformanceIncidents, everyFieldIsReadFromItsColumn) {
    sql.run(
        "INSERT INTO performance_incidents VALUES (7, 100, 160, 300, 'thermal', 2, 91.5, 61.25, 4, 1500.5, "
        "33, "
        "'Critical', 'compiler', 180.5, 'browser', 4000000000, 12, 400, 250, 160);");
    PerformanceIncident expected;
    expected.id = 7;
    expected.startedAt = at(100);
    expected.detectedAt = at(160);
    expected.endedAt = at(300);
    expected.kind = IncidentKind::thermal;
    expected.severity = IncidentSeverity::critical;
    expected.peakCPU = 91.5;
    expected.peakMemoryPressure = 61.25;
    expected.worstMemoryPressureState = MemoryPressureLevel::critical;
    expected.peakNetworkBytesPerSecond = 1500.5;
    expected.minimumBatteryPercentage = 33;
    expected.worstThermalState = "Critical";
    expected.topCPUProcess = "compiler";
    expected.topCPUUsage = 180.5;
    expected.topRAMProcess = "browser";
    expected.topRAMBytes = 4'000'000'000;
    expected.sampleCount = 12;
    expected.dismissedAt = at(400);
    expected.recoveryStartedAt = at(250);
    ASSERT_EQ(store.fetchIncidents().size(), 1u);
    EXPECT_EQ(store.fetchIncidents()[0], expected);
}

TEST(PerformanceIncidentsOfAnyFile, noRowIsDroppedForWhatItHolds) {
    test::TempDirectory folder;
    const std::string path = folder.file("history.sqlite");
    Sql sql(path);
    sql.run(
        "CREATE TABLE performance_incidents (id INTEGER PRIMARY KEY, started_at, detected_at, ended_at, "
        "kind, "
        "severity, peak_cpu, peak_memory_pressure, worst_memory_pressure_state, peak_network, min_battery, "
        "worst_thermal_state, top_cpu_process, top_cpu_usage, top_ram_process, top_ram_bytes, sample_count, "
        "dismissed_at, recovery_started_at, created_at);"
        "INSERT INTO performance_incidents (id, started_at, ended_at) VALUES (1, 10, 20);"
        "INSERT INTO performance_incidents (id, started_at, ended_at, kind, severity, "
        "worst_memory_pressure_state, worst_thermal_state, top_ram_bytes) "
        "VALUES (2, 9, 8, 'disk', 3, 3, 'Sauna', -5);"
        "INSERT INTO performance_incidents (id, started_at, ended_at, kind, severity, "
        "worst_memory_pressure_state, top_cpu_process) VALUES (3, 8, 8, 'CPU', 0, -1, '');");
    test::FakeClock clock;
    const DatabaseManager store(path, clock);
    const auto incidents = store.fetchIncidents();
    ASSERT_EQ(incidents.size(), 3u);
    for (const PerformanceIncident& incident : incidents) {
        EXPECT_EQ(incident.kind, IncidentKind::combined);
        EXPECT_EQ(incident.severity, IncidentSeverity::warning);
        EXPECT_EQ(incident.worstMemoryPressureState, MemoryPressureLevel::unavailable);
        EXPECT_EQ(incident.topRAMBytes, 0u);
        EXPECT_FALSE(incident.minimumBatteryPercentage || incident.dismissedAt || incident.topRAMProcess ||
                     incident.recoveryStartedAt);
    }
    EXPECT_EQ(incidents[0].worstThermalState, "Nominal");
    EXPECT_EQ(incidents[0].topCPUProcess, std::nullopt);
    EXPECT_EQ(incidents[1].worstThermalState, "Sauna");
    EXPECT_EQ(incidents[1].duration(clock.now()), 0);
    EXPECT_EQ(incidents[2].topCPUProcess, "");
}

TEST_F(PerformanceIncidents, dismissalTakesAllOrNothing) {
    for (int i = 0; i < 3; ++i) create();
    store.endIncident(2, at(storeNow));
    store.setIncidentsDismissed({3, 2, 3, 2}, true, at(storeNow + 5.5));
    const std::string marks = "SELECT dismissed_at FROM performance_incidents ORDER BY id;";
    EXPECT_EQ(sql.rows(marks), (Rows{"NULL", "1800000005", "1800000005"}));
    EXPECT_EQ(store.fetchIncidents().size(), 3u);

    sql.run(
        "CREATE TRIGGER no_second BEFORE UPDATE OF dismissed_at ON performance_incidents WHEN NEW.id = 2 "
        "BEGIN SELECT RAISE(ABORT, 'no'); END;");
    store.setIncidentsDismissed({1, 2, 3}, false, at(storeNow));
    EXPECT_EQ(sql.rows(marks), (Rows{"NULL", "1800000005", "1800000005"}));
    sql.run("DROP TRIGGER no_second;");
    store.setIncidentsDismissed({1, 2, 3}, false, at(storeNow));
    EXPECT_EQ(sql.rows(marks), (Rows{"NULL", "NULL", "NULL"}));
}

TEST_F(PerformanceIncidents, aDismissalIsOneTransactionAndAnEmptyOneNone) {
    create();
    create();
    test::StatementTrace trace;
    DatabaseManager traced(path, clock);
    trace.take();
    const std::string update = "UPDATE performance_incidents SET dismissed_at = ? WHERE id = ?;";
    traced.setIncidentsDismissed({1, 2, 1}, true, at(storeNow));
    EXPECT_EQ(trace.take(), (Rows{"BEGIN IMMEDIATE TRANSACTION;", update, update, "COMMIT;"}));
    sql.run(
        "CREATE TRIGGER never BEFORE UPDATE OF dismissed_at ON performance_incidents BEGIN SELECT "
        "RAISE(ABORT, 'no'); END;");
    traced.setIncidentsDismissed({1, 2}, true, at(storeNow));
    Rows failed = trace.take();
    failed.erase(std::remove_if(failed.begin(), failed.end(),
                                [](const std::string& text) { return text.starts_with("SELECT"); }),
                 failed.end());
    EXPECT_EQ(failed, (Rows{"BEGIN IMMEDIATE TRANSACTION;", update, "ROLLBACK;"}));
    traced.setIncidentsDismissed({}, true, at(storeNow));
    EXPECT_EQ(trace.take(), Rows{});
}

TEST_F(PerformanceIncidents, aDismissalThatCannotBeginTouchesNothing) {
    create();
    Sql other(path);
    test::StatementTrace trace;
    DatabaseManager waiting(path, clock);
    trace.take();
    other.run("BEGIN IMMEDIATE;");
    waiting.setIncidentsDismissed({1}, true, at(storeNow));
    EXPECT_EQ(trace.take(), Rows{"BEGIN IMMEDIATE TRANSACTION;"});
    other.run("COMMIT;");
    waiting.setIncidentsDismissed({1}, true, at(storeNow));
    EXPECT_EQ(columns(1, "dismissed_at"), "1800000000");
}

TEST_F(PerformanceIncidents, dismissingNothingDoesNotWaitForTheLock) {
    create();
    Sql other(path);
    test::StatementTrace trace;
    DatabaseManager waiting(path, clock);
    trace.take();
    other.run("BEGIN IMMEDIATE;");
    // It waits for the file, with the lock, and gives up after three seconds.
    std::thread writer([&] { waiting.setIncidentsDismissed({1}, true, at(storeNow)); });
    EXPECT_TRUE(trace.await("BEGIN IMMEDIATE"));
    waiting.setIncidentsDismissed({}, true, at(storeNow));
    other.run("COMMIT;");
    writer.join();
    EXPECT_EQ(columns(1, "dismissed_at"), "1800000000");
}

TEST_F(PerformanceIncidents, theTimelineReachesFromFiveMinutesBeforeToTwoAfter) {
    for (const double seconds :
         {storeNow - 361.0, storeNow - 360.0, storeNow - 60.0, storeNow + 120.0, storeNow + 121.0}) {
        insertRow(seconds, 50);
    }
    const auto id = create();
    store.endIncident(id, at(storeNow));
    const auto times = [&](double preRoll, double postRoll) {
        std::vector<double> seconds;
        for (const auto& sample : store.fetchIncidentTimeline(store.fetchIncidents()[0], preRoll, postRoll)) {
            seconds.push_back(secondsSince1970(sample.timestamp) - storeNow);
        }
        return seconds;
    };
    EXPECT_EQ(times(300, 120), (std::vector<double>{-360, -60, 120}));
    EXPECT_EQ(store.fetchIncidentTimeline(store.fetchIncidents()[0]).size(), 3u);
    EXPECT_EQ(times(301, 121), (std::vector<double>{-361, -360, -60, 120, 121}));
    EXPECT_EQ(times(0, 119.99), (std::vector<double>{-60}));
    // Whole seconds of the window's ends.
    EXPECT_EQ(times(299.5, 120.9), (std::vector<double>{-360, -60, 120}));
}

TEST_F(PerformanceIncidents, theTimelineOfAnOpenIncidentEndsNow) {
    create();
    for (const int seconds : {-400, -300, 0, 30, 31}) insertRow(storeNow + seconds, 50);
    clock.advance(30.5);
    EXPECT_EQ(store.fetchIncidentTimeline(store.fetchIncidents()[0]).size(), 3u);
    EXPECT_EQ(store.fetchIncidentTimeline(store.fetchIncidents()[0], 300, 1e6).size(), 3u);
}

TEST_F(PerformanceIncidents, aTimelineSampleKeepsWhatItsRowLacksApart) {
    sql.run(
        "INSERT INTO metrics_history VALUES (5, 1799999990, 91.5, 40, 1, 10.5, -1, 61.25, 4, 'Fair', 33, 2, "
        "'compiler', 180.5, 'browser', 4000000000);"
        "INSERT INTO metrics_history (id, timestamp, memory_pressure_state, top_ram_bytes, is_charging) "
        "VALUES (6, 1799999991, 3, -1, 0);"
        "INSERT INTO metrics_history (id, timestamp) VALUES (7, 1799999980);");
    create();
    const auto samples = store.fetchIncidentTimeline(store.fetchIncidents()[0]);
    ASSERT_EQ(samples.size(), 3u);
    IncidentTimelineSample full;
    full.id = 5;
    full.timestamp = at(1799999990);
    full.cpuUsage = 91.5;
    full.memoryPressure = 61.25;
    full.memoryPressureState = MemoryPressureLevel::critical;
    full.uploadSpeed = 10.5;
    full.downloadSpeed = -1;
    full.batteryPercentage = 33;
    full.isCharging = true;
    full.thermalState = "Fair";
    full.topCPUProcess = "compiler";
    full.topCPUUsage = 180.5;
    full.topRAMProcess = "browser";
    full.topRAMBytes = 4'000'000'000;
    EXPECT_EQ(samples[1], full);
    EXPECT_EQ(full.networkBytesPerSecond(), 10.5);
    IncidentTimelineSample bare;
    bare.id = 7;
    bare.timestamp = at(1799999980);
    EXPECT_EQ(samples[0], bare);
    EXPECT_EQ(bare.thermalState, "Unknown");
    bare.id = 6;
    bare.timestamp = at(1799999991);
    bare.isCharging = false;
    EXPECT_EQ(samples[2], bare);
}

TEST(PerformanceIncidentsWithoutAFile, everyOperationGivesItsEmptyResult) {
    test::TempDirectory folder;
    test::FakeClock clock;
    test::CapturedLog log;
    DatabaseManager store(folder.path().string(), clock);  // a folder is no store
    EXPECT_EQ(store.createIncident({at(0), IncidentKind::cpu, IncidentSeverity::warning}, at(60)),
              std::nullopt);
    store.updateIncidentClassification(1, IncidentKind::cpu, IncidentSeverity::critical);
    store.setIncidentRecoveryStarted(1, at(1));
    store.updateIncidentEvidence(1, fullObservation());
    store.endIncident(1, at(2));
    store.setIncidentsDismissed({1}, true, at(3));
    EXPECT_TRUE(store.fetchIncidents().empty());
    EXPECT_TRUE(store.fetchIncidentTimeline({}).empty());
}

TEST_F(PerformanceIncidents, aFullDiskGivesNoIncidentAndTheNextOneIsStored) {
    {
        const test::SystemFault fault(test::SystemFault::Kind::noSpace);
        EXPECT_EQ(store.createIncident({at(0), IncidentKind::cpu, IncidentSeverity::warning}, at(60)),
                  std::nullopt);
    }
    EXPECT_EQ(sql.row("SELECT COUNT(*) FROM performance_incidents;"), "0");
    EXPECT_GT(create(), 0);
}

TEST_F(PerformanceIncidents, aReaderNeverSeesAnEndWithEvidenceFromAfterIt) {
    constexpr int rounds = 200;
    for (int i = 0; i < rounds + 30; ++i) insertRow(storeNow + i, 80);
    insertRow(storeNow + rounds + 30, 95);
    std::atomic<bool> isOver = false;
    std::atomic<int> reads = 0;
    std::thread reader([&] {
        while (!isOver) {
            for (const auto& incident : store.fetchIncidents(1)) {  // the newest, which is being written
                ++reads;
                ASSERT_GT(incident.sampleCount, 0);
                ASSERT_TRUE(!incident.endedAt || incident.peakCPU == 80);
            }
        }
    });
    for (int i = 0; i < rounds || reads < 100; ++i) {
        const int start = std::min(i, rounds);
        const auto id = store.createIncident(
            {at(storeNow + start), IncidentKind::cpu, IncidentSeverity::warning}, at(storeNow + rounds + 30));
        store.updateIncidentEvidence(id.value_or(0), fullObservation());
        store.endIncident(id.value_or(0), at(storeNow + start + 9));
    }
    isOver = true;
    reader.join();
}

TEST_F(PerformanceIncidents, aCommitThatIsRefusedLeavesNothingOpen) {
    const std::string plain = folder.file("plain.sqlite");
    {
        DatabaseManager made(plain, clock);
        made.createIncident({at(0), IncidentKind::cpu, IncidentSeverity::warning}, at(60));
    }
    Sql reader(plain);
    reader.run("PRAGMA journal_mode = DELETE;");
    DatabaseManager companion(plain, clock, StoreAccess::companion);
    ASSERT_EQ(companion.state(), StoreState::ready);
    reader.run("BEGIN; SELECT * FROM performance_incidents;");  // without the side files it blocks a commit
    companion.setIncidentsDismissed({1}, true, at(storeNow));
    reader.run("COMMIT;");
    EXPECT_EQ(reader.row("SELECT dismissed_at FROM performance_incidents;"), "NULL");
    companion.setIncidentRecoveryStarted(1, at(7));
    EXPECT_EQ(reader.row("SELECT recovery_started_at, dismissed_at FROM performance_incidents;"), "7|NULL");
}

class OlderFile : public ::testing::TestWithParam<const char*> {
  protected:
    OlderFile() { Sql(path).run(test::readFile(std::string(CORVANTA_FIXTURES "/storage/") + GetParam())); }

    test::TempDirectory folder;
    std::string path = folder.file("history.sqlite");
    test::FakeClock clock;
};

TEST_P(OlderFile, takesIncidentsOnceItIsUpToDate) {
    DatabaseManager store(path, clock);
    const std::size_t before = store.fetchIncidents().size();
    const auto id = store.createIncident({at(storeNow - 60), IncidentKind::memory, IncidentSeverity::warning},
                                         at(storeNow));
    ASSERT_TRUE(id.has_value());
    store.updateIncidentEvidence(*id, fullObservation());
    store.updateIncidentClassification(*id, IncidentKind::combined, IncidentSeverity::critical);
    store.setIncidentRecoveryStarted(*id, at(storeNow + 1));
    EXPECT_TRUE(store.fetchIncidents()[0].isRecovering());
    EXPECT_EQ(store.fetchIncidents()[0].worstMemoryPressureState, MemoryPressureLevel::warning);
    store.endIncident(*id, at(storeNow + 1));
    store.setIncidentsDismissed({*id}, true, at(storeNow));
    const auto incidents = store.fetchIncidents();
    ASSERT_EQ(incidents.size(), before + 1);
    EXPECT_TRUE(incidents[0].isDismissed() && incidents[0].hasConfirmedRecovery());
    EXPECT_EQ(incidents[0].severity, IncidentSeverity::critical);
    for (const auto& incident : incidents) store.fetchIncidentTimeline(incident);
}

TEST_P(OlderFile, isRefusedToACompanionAndLeftAsItIs) {
    const Rows before = Sql(path).dump();
    DatabaseManager companion(path, clock, StoreAccess::companion);
    EXPECT_EQ(companion.state(), StoreState::olderSchema);
    companion.setIncidentsDismissed({1}, true, at(storeNow));
    EXPECT_EQ(Sql(path).dump(), before);
}

INSTANTIATE_TEST_SUITE_P(PerformanceIncidents, OlderFile,
                         ::testing::Values("history-without-context.sql",
                                           "history-without-incident-marks.sql",
                                           "history-without-pressure-state.sql"));

TEST_F(PerformanceIncidents, aCompanionDismissesBesideTheProgramAndLeavesWhatIsOpen) {
    create();
    create();
    sql.run("INSERT INTO sessions (name, started_at) VALUES ('open', 1);");
    {
        DatabaseManager companion(path, clock, StoreAccess::companion);
        ASSERT_EQ(companion.state(), StoreState::ready);
        companion.setIncidentsDismissed({1}, true, at(storeNow + 1));
        EXPECT_EQ(companion.fetchIncidents().size(), 2u);
    }
    EXPECT_EQ(sql.rows("SELECT ended_at, dismissed_at FROM performance_incidents ORDER BY id;"),
              (Rows{"NULL|1800000001", "NULL|NULL"}));
    EXPECT_EQ(sql.row("SELECT ended_at FROM sessions;"), "NULL");
    store.endIncident(1, at(storeNow));
    EXPECT_EQ(columns(1, "ended_at, dismissed_at"), "1800000000|1800000001");
    EXPECT_EQ(log.lines(), Rows{});
}

TEST(CompanionStore, neitherMakesAFileNorTakesOneThatItCannotWrite) {
    test::TempDirectory folder;
    test::FakeClock clock;
    test::CapturedLog log;
    const std::string missing = folder.file("none/history.sqlite");
    EXPECT_EQ(DatabaseManager(missing, clock, StoreAccess::companion).state(), StoreState::unavailable);
    EXPECT_FALSE(std::filesystem::exists(folder.file("none")));
    const std::string path = folder.file("history.sqlite");
    DatabaseManager(path, clock).insertSnapshot(sampleAt(storeNow));
    {
        const test::SystemFault fault(test::SystemFault::Kind::readOnlyMedium);
        EXPECT_EQ(DatabaseManager(path, clock, StoreAccess::companion).state(), StoreState::unavailable);
    }
    folder.write("junk.sqlite", std::string(4096, 'x'));
    EXPECT_EQ(DatabaseManager(folder.file("junk.sqlite"), clock, StoreAccess::companion).state(),
              StoreState::notADatabase);
    EXPECT_EQ(log.lines(), Rows{});
}

}  // namespace
}  // namespace corvanta
