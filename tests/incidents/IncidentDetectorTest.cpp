// SPDX-License-Identifier: Apache-2.0
#include "incidents/IncidentDetector.h"

#include <gtest/gtest.h>

#include "incidents/IncidentStreams.h"
#include "storage/StoreTestSupport.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::Sql;
using Rows = std::vector<std::string>;

constexpr double begin = 1'799'990'000;

/// The detector on a real store. Its samples come every two seconds; every fifth is stored, as by the
/// program.
class IncidentDetectorTest : public testing::Test {
  protected:
    /// A sample that the program stores as well.
    void feedStored(double seconds, const IncidentObservation& values) {
        IncidentObservation observation = stamped(seconds, values);
        detector_.observe(observation);
        SnapshotValues row;
        row.cpu = observation.cpuUsage;
        row.pressureState = observation.memoryPressureState;
        row.thermalState = observation.thermalState;
        row.timestamp = observation.timestamp;
        database_.insertSnapshot(row);
        detector_.recordPersistedObservation(observation);
    }
    void feed(double seconds, const IncidentObservation& values) {
        if (static_cast<int>(seconds) % 10 == 0) {
            feedStored(seconds, values);
        } else {
            detector_.observe(stamped(seconds, values));
        }
    }
    /// One value from the first second to the last one, both counted.
    void feedFrom(int first, int last, const IncidentObservation& values) {
        for (int seconds = first; seconds <= last; seconds += 2) feed(seconds, values);
    }
    static IncidentObservation stamped(double seconds, IncidentObservation values) {
        values.timestamp = instantFromSeconds(begin + seconds);
        values.systemUptime = seconds;
        return values;
    }
    static IncidentObservation busy(double cpu = 90) {
        IncidentObservation observation = test::calmAt(0);
        observation.cpuUsage = cpu;
        return observation;
    }

    /// The newest incident, its instants counted from the first sample on.
    std::string incident() {
        return sql_.row(
            "SELECT started_at - 1799990000, detected_at - 1799990000, ended_at - 1799990000, "
            "recovery_started_at - 1799990000, kind, severity, peak_cpu, sample_count "
            "FROM performance_incidents ORDER BY id DESC LIMIT 1;");
    }
    std::string count() { return sql_.row("SELECT COUNT(*) FROM performance_incidents;"); }

    const IncidentObservation calm_ = test::calmAt(0);
    test::TempDirectory folder_;
    test::CapturedLog log_;
    test::FakePlatform machine_;
    AppSettings settings_{machine_.defaults, machine_.loginItem, machine_.clock, machine_.executor};
    DatabaseManager database_{folder_.file("history.sqlite"), machine_.clock};
    Sql sql_{folder_.file("history.sqlite")};
    IncidentDetector detector_{database_, settings_};
};

TEST_F(IncidentDetectorTest, anIncidentIsWrittenWithItsEvidenceBeforeObserveReturns) {
    feedFrom(0, 58, busy());
    EXPECT_EQ(count(), "0");
    detector_.observe(stamped(60, busy(91)));
    // The sample of this very moment is not stored yet.
    EXPECT_EQ(incident(), "0|60|NULL|NULL|cpu|1|90.0|6");
}

TEST_F(IncidentDetectorTest, aCycleThatStoresNoSampleChangesNoEvidence) {
    feedFrom(0, 60, busy());
    EXPECT_EQ(incident(), "0|60|NULL|NULL|cpu|1|90.0|7");
    detector_.observe(stamped(62, busy(99)));
    EXPECT_EQ(incident(), "0|60|NULL|NULL|cpu|2|90.0|7");  // but what it is called changes
    feedStored(64, busy(93));
    EXPECT_EQ(incident(), "0|60|NULL|NULL|cpu|2|93.0|8");
    detector_.observe(stamped(66, calm_));
    EXPECT_EQ(incident(), "0|60|NULL|66|cpu|2|93.0|8");
}

TEST_F(IncidentDetectorTest, pressureThatReturnsClearsTheStartOfRecovery) {
    feedFrom(0, 60, busy());
    feedFrom(62, 70, calm_);
    EXPECT_EQ(incident(), "0|60|NULL|62|cpu|1|90.0|8");
    EXPECT_TRUE(database_.fetchIncidents()[0].isRecovering());
    feed(72, busy());
    EXPECT_EQ(incident(), "0|60|NULL|NULL|cpu|1|90.0|8");
    EXPECT_FALSE(database_.fetchIncidents()[0].isRecovering());
}

TEST_F(IncidentDetectorTest, anIncidentEndsWhereTheCalmBeganWithTheEvidenceOfItsOwnSpan) {
    feedFrom(0, 80, busy());
    feedFrom(82, 170, calm_);
    EXPECT_EQ(incident(), "0|60|NULL|82|cpu|1|90.0|18");  // the calm counts while it lasts
    feed(172, calm_);
    EXPECT_EQ(incident(), "0|60|82|82|cpu|1|90.0|9");
    EXPECT_TRUE(database_.fetchIncidents()[0].hasConfirmedRecovery());
}

TEST_F(IncidentDetectorTest, theSampleOfTheEndIsNoEvidenceAnyMore) {
    feedFrom(0, 60, busy());
    feedFrom(62, 150, calm_);
    feedStored(152, busy(69.9));  // calm, and the ninety seconds are over
    const std::string ended = incident();
    EXPECT_EQ(ended, "0|60|62|62|cpu|1|90.0|7");
    detector_.recordPersistedObservation(stamped(152, busy(100)));
    EXPECT_EQ(incident(), ended);
}

TEST_F(IncidentDetectorTest, aHoleEndsAnIncidentAtTheLastSampleBeforeIt) {
    feedFrom(0, 70, busy());
    feed(101, busy());
    EXPECT_EQ(incident(), "0|60|70|70|cpu|1|90.0|8");
    feedFrom(102, 160, busy());
    EXPECT_EQ(count(), "1");
    feed(162, busy());
    EXPECT_EQ(count(), "2");
    EXPECT_EQ(incident().substr(0, 7), "101|162");
}

TEST_F(IncidentDetectorTest, aChangeThatComesWithATurnOfTheRecoveryIsNotWritten) {
    IncidentObservation pressed = calm_;
    pressed.memoryPressureState = MemoryPressureLevel::warning;
    feedFrom(0, 60, pressed);
    EXPECT_EQ(incident(), "0|60|NULL|NULL|memory|1|10.0|7");
    settings_.incidentCPUEnabled.set(false);
    IncidentObservation critical = calm_;  // calm, as the processor's rule is off, and yet critical
    critical.cpuUsage = 96;
    feed(62, critical);
    EXPECT_EQ(incident(), "0|60|NULL|62|memory|1|10.0|7");
    feed(64, calm_);
    feed(66, critical);  // nothing changes any more
    EXPECT_EQ(incident().substr(0, 21), "0|60|NULL|62|memory|1");
    feed(68, pressed);
    EXPECT_EQ(incident().substr(0, 23), "0|60|NULL|NULL|memory|1");
}

TEST_F(IncidentDetectorTest, aChangeThatComesWithTheEndIsNotWritten) {
    settings_.incidentCPUEnabled.set(false);
    IncidentObservation pressed = calm_;
    pressed.memoryPressureState = MemoryPressureLevel::warning;
    feedFrom(0, 60, pressed);
    feedFrom(62, 150, calm_);
    feed(152, busy(96));  // calm, as the processor's rule is off, and yet critical
    EXPECT_EQ(incident(), "0|60|62|62|memory|1|10.0|7");
}

TEST_F(IncidentDetectorTest, aLaterChangeCarriesWhatWasNotWritten) {
    IncidentObservation pressed = calm_;
    pressed.memoryPressureState = MemoryPressureLevel::warning;
    feedFrom(0, 60, pressed);
    feed(62, calm_);
    pressed.memoryPressureState = MemoryPressureLevel::critical;
    feed(64, pressed);  // the recovery is cancelled, and the severity rises unseen
    EXPECT_EQ(incident().substr(0, 23), "0|60|NULL|NULL|memory|1");
    pressed.thermalState = "Serious";
    feedFrom(66, 76, pressed);
    EXPECT_EQ(incident().substr(0, 25), "0|60|NULL|NULL|combined|2");
}

TEST_F(IncidentDetectorTest, aRuleThatIsSwitchedOffCountsFromTheNextSampleOn) {
    settings_.incidentCPUEnabled.set(false);
    feedFrom(0, 80, busy());
    EXPECT_EQ(count(), "0");
    settings_.incidentCPUEnabled.set(true);
    feedFrom(82, 142, busy());
    EXPECT_EQ(incident().substr(0, 6), "82|142");
    settings_.incidentCPUEnabled.set(false);
    feedFrom(144, 232, busy());
    EXPECT_EQ(incident().substr(0, 15), "82|142|NULL|144");
    feed(234, busy());
    EXPECT_EQ(incident().substr(0, 14), "82|142|144|144");
}

TEST_F(IncidentDetectorTest, aSnoozeOfAlertsSilencesNoDetection) {
    settings_.snoozePerformanceAlerts(14400);
    feedFrom(0, 60, busy());
    EXPECT_EQ(count(), "1");
}

TEST_F(IncidentDetectorTest, anIncidentThatCouldNotBeStoredLeavesNoTraceAndTheNextOneIsStored) {
    sql_.run(
        "CREATE TRIGGER none BEFORE INSERT ON performance_incidents BEGIN SELECT RAISE(ABORT, 'no'); END;"
        "INSERT INTO metrics_history (timestamp) VALUES (1);");
    feedFrom(0, 60, busy());
    sql_.run("DROP TRIGGER none;");
    // Others stand under every number that could be taken for the missing one.
    for (int i = 0; i < 30; ++i) {
        sql_.run(
            "INSERT INTO performance_incidents (started_at, detected_at, kind, severity, created_at) "
            "VALUES (1799990000, 1799990060, 'cpu', 1, 1);");
    }
    const Rows others = sql_.rows("SELECT * FROM performance_incidents;");
    feedFrom(62, 70, busy(99));
    feedFrom(72, 162, calm_);
    EXPECT_EQ(sql_.rows("SELECT * FROM performance_incidents;"), others);
    feedFrom(164, 224, busy());
    EXPECT_EQ(count(), "31");
    EXPECT_EQ(incident().substr(0, 7), "164|224");
}

TEST_F(IncidentDetectorTest, withoutAStoreItRunsAndLeavesNoTrace) {
    DatabaseManager none(folder_.path().string(), machine_.clock);
    IncidentDetector detector(none, settings_);
    for (int seconds = 0; seconds <= 200; seconds += 2) {
        const auto observation = stamped(seconds, seconds < 80 ? busy() : calm_);
        detector.observe(observation);
        detector.recordPersistedObservation(observation);
    }
    EXPECT_TRUE(none.fetchIncidents().empty());
}

}  // namespace
}  // namespace corvanta
