// SPDX-License-Identifier: Apache-2.0
// A load on its way from the collectors through the publish step and the detector into the store.
#include <gtest/gtest.h>

#include "monitoring/MonitorFixture.h"
#include "shell/ProgramServices.h"
#include "support/CapturedLog.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

constexpr double interval = 2;  // seconds between two cycles

/// The program's monitor, sink and store on a machine whose clock and load the test drives.
class IncidentRoadTest : public test::MonitorFixture {
  protected:
    IncidentRoadTest() {
        target = &services_.sink;
        machine.clock.setNow(start_);
        script->level = MemoryPressureLevel::normal;
        ProcessDetail process;
        process.id = 71;
        process.name = "stress-ng";
        process.cpuUsage = 198.5;
        process.residentBytes = 5'000'000;
        script->processes = {process};
    }

    /// The load of the cycles from the first second to the one before the last.
    void loadUntil(double end, double cpu) {
        for (; now_ < end; now_ += interval) {
            script->cpu = cpu;
            cycle();
            ASSERT_TRUE(services_.awaitTrendCheck());
            machine.clock.advance(interval);
        }
    }
    double secondsOf(std::optional<Instant> instant) const { return (instant.value() - start_).count(); }

    const Instant start_ = instantFromSeconds(1'799'990'000);
    double now_ = 0;
    test::TempDirectory folder_;
    test::CapturedLog log_;
    DatabaseManager database_{folder_.file("history.sqlite"), machine.clock};
    test::ProgramServices services_{machine, settings, database_};
};

TEST_F(IncidentRoadTest, eightySecondsOfFullLoadAreAnIncidentThatEndsWithThem) {
    loadUntil(20, 12);
    loadUntil(80, 100);
    EXPECT_TRUE(database_.fetchIncidents().empty());
    loadUntil(82, 100);
    ASSERT_EQ(database_.fetchIncidents().size(), 1u);
    {
        const PerformanceIncident open = database_.fetchIncidents()[0];
        EXPECT_EQ(open.kind, IncidentKind::cpu);
        EXPECT_EQ(open.severity, IncidentSeverity::critical);
        EXPECT_EQ(secondsOf(open.startedAt), 20);
        EXPECT_EQ(secondsOf(open.detectedAt), 80);
        EXPECT_TRUE(open.isActive() && !open.isRecovering());
        EXPECT_EQ(open.peakCPU, 100);
        EXPECT_EQ(open.topCPUProcess, "stress-ng");
        EXPECT_EQ(open.sampleCount, 7);  // one every ten seconds
    }
    loadUntil(100, 100);
    loadUntil(102, 9);
    EXPECT_TRUE(database_.fetchIncidents()[0].isRecovering());
    loadUntil(190, 9);
    EXPECT_TRUE(database_.fetchIncidents()[0].isActive());
    loadUntil(192, 9);
    ASSERT_EQ(database_.fetchIncidents().size(), 1u);
    const PerformanceIncident ended = database_.fetchIncidents()[0];
    EXPECT_TRUE(ended.hasConfirmedRecovery());
    EXPECT_EQ(secondsOf(ended.endedAt), 100);
    EXPECT_EQ(secondsOf(ended.recoveryStartedAt), 100);
    EXPECT_EQ(ended.sampleCount, 9);
    EXPECT_EQ(ended.peakCPU, 100);
    EXPECT_EQ(ended.minimumBatteryPercentage, std::nullopt);
    EXPECT_EQ(log_.lines(), std::vector<std::string>{});
}

TEST_F(IncidentRoadTest, seventyPercentWithShortMemoryIsBothOfThem) {
    script->level = MemoryPressureLevel::warning;
    loadUntil(64, 70);
    ASSERT_EQ(database_.fetchIncidents().size(), 1u);
    EXPECT_EQ(database_.fetchIncidents()[0].kind, IncidentKind::combined);
    EXPECT_EQ(database_.fetchIncidents()[0].worstMemoryPressureState, MemoryPressureLevel::warning);
    EXPECT_EQ(database_.fetchIncidents()[0].severity, IncidentSeverity::warning);
}

}  // namespace
}  // namespace corvanta
