// SPDX-License-Identifier: Apache-2.0
#include "reports/WeeklyReportEngine.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "monitoring/MonitorFixture.h"
#include "storage/StoreTestSupport.h"
#include "support/CapturedLog.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::storeNow;

constexpr const char* key = "lastWeeklyReportAt";
constexpr std::int64_t hour = 3600;
constexpr std::int64_t day = 86400;

/// The engine on a real store, a monitor on fakes and a clock moved by hand.
class WeeklyReportEngineTest : public test::MonitorFixture {
  protected:
    /// Rows of the same figures, the oldest of the given age in seconds, the newest of this moment.
    void fill(int count, std::int64_t oldestAge, double cpu = 20, double pressure = 30) {
        const double now = secondsSince1970(machine.clock.now());
        for (int i = 0; i < count; ++i) {
            const double age = static_cast<double>(oldestAge) * i / (count - 1);
            database_.insertSnapshot(test::sampleAt(now - age, cpu, pressure));
        }
    }
    bool isDue() {
        return WeeklyReportEngine::isReportDue(settings, machine.defaults, database_, machine.clock);
    }
    WeeklyReport generate() const {
        return WeeklyReportEngine::generate(database_, machine.clock, monitor.get());
    }
    void markedAgo(double seconds) {
        machine.defaults.values.insert_or_assign(key, static_cast<double>(storeNow) - seconds);
    }

    test::CapturedLog log_;
    test::TempDirectory folder_;
    DatabaseManager database_{folder_.file("history.sqlite"), machine.clock};
};

TEST_F(WeeklyReportEngineTest, aPeriodIsSevenDays) {
    EXPECT_EQ(WeeklyReportEngine::period, 604800);
}

// When a report is due

TEST_F(WeeklyReportEngineTest, aDayOfThirtySamplesIsEnoughForTheFirst) {
    fill(30, 24 * hour);
    EXPECT_TRUE(isDue());
}

TEST_F(WeeklyReportEngineTest, twentyNineSamplesAreNotEnough) {
    fill(29, 48 * hour);
    EXPECT_FALSE(isDue());
    EXPECT_FALSE(generate().hasSufficientData());
}

TEST_F(WeeklyReportEngineTest, twentyThreeHoursAreNotEnough) {
    fill(30, 23 * hour);
    EXPECT_FALSE(isDue());
    EXPECT_TRUE(generate().hasSufficientData());
}

TEST_F(WeeklyReportEngineTest, aSecondLessThanADayIsNotEnough) {
    fill(30, day - 1);
    EXPECT_FALSE(isDue());
    machine.clock.advance(0.75);
    EXPECT_FALSE(isDue());
    machine.clock.advance(0.25);
    EXPECT_TRUE(isDue());
}

TEST_F(WeeklyReportEngineTest, whatIsOlderThanAWeekDoesNotCount) {
    fill(30, 20 * day);
    EXPECT_FALSE(isDue());
    EXPECT_EQ(generate().sampleCount, 11);
}

TEST_F(WeeklyReportEngineTest, anEmptyStoreIsNeverDue) {
    EXPECT_FALSE(isDue());
}

TEST_F(WeeklyReportEngineTest, aStoreThatCannotBeOpenedIsNeverDue) {
    const DatabaseManager closed("", machine.clock);
    EXPECT_FALSE(WeeklyReportEngine::isReportDue(settings, machine.defaults, closed, machine.clock));
}

TEST_F(WeeklyReportEngineTest, noReportIsDueWhileTheSettingIsOff) {
    fill(30, day);
    settings.weeklyReportEnabled.set(false);
    EXPECT_FALSE(isDue());
    settings.weeklyReportEnabled.set(true);
    EXPECT_TRUE(isDue());
}

TEST_F(WeeklyReportEngineTest, theNextIsDueSevenDaysAfterTheLast) {
    fill(30, day);
    markedAgo(604799);
    EXPECT_FALSE(isDue());
    markedAgo(604800);
    EXPECT_TRUE(isDue());
}

TEST_F(WeeklyReportEngineTest, aReportMarkedInTheFutureHoldsTheNextUntilSevenDaysAfterIt) {
    fill(30, day);
    markedAgo(-3600);
    EXPECT_FALSE(isDue());
    machine.clock.advance(3600 + 604799);
    fill(30, day);
    EXPECT_FALSE(isDue());
    machine.clock.advance(1);
    EXPECT_TRUE(isDue());
}

TEST_F(WeeklyReportEngineTest, markingPutsTheNextOffByAWeek) {
    fill(30, day);
    ASSERT_TRUE(isDue());
    WeeklyReportEngine::markReported(machine.defaults, machine.clock);
    EXPECT_FALSE(isDue());
    machine.clock.advance(604800);
    fill(30, day);
    EXPECT_TRUE(isDue());
}

TEST_F(WeeklyReportEngineTest, makingAReportMarksNothing) {
    fill(30, day);
    generate();
    EXPECT_TRUE(isDue());
    EXPECT_EQ(machine.defaults.values.count(key), 0u);
}

// The stored moment

TEST_F(WeeklyReportEngineTest, theMarkIsTheMomentWithItsFraction) {
    EXPECT_EQ(WeeklyReportEngine::lastReportDate(machine.defaults), std::nullopt);
    machine.clock.advance(0.5);
    WeeklyReportEngine::markReported(machine.defaults, machine.clock);
    EXPECT_EQ(machine.defaults.value(key), DefaultsValue(storeNow + 0.5));
    EXPECT_EQ(WeeklyReportEngine::lastReportDate(machine.defaults), machine.clock.now());
}

TEST_F(WeeklyReportEngineTest, aWholeNumberIsAMomentToo) {
    machine.defaults.values[key] = std::int64_t{1'799'999'000};
    EXPECT_EQ(WeeklyReportEngine::lastReportDate(machine.defaults), instantFromSeconds(1'799'999'000));
}

TEST_F(WeeklyReportEngineTest, whatIsNoMomentAfter1970ReadsAsNever) {
    fill(30, day);
    using Limits = std::numeric_limits<double>;
    for (const DefaultsValue& value :
         std::vector<DefaultsValue>{0.0, -1.0, std::int64_t{0}, std::int64_t{-5}, true,
                                    std::string("1799999999"), std::vector<std::string>{"1799999999"},
                                    Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity()}) {
        machine.defaults.values[key] = value;
        EXPECT_EQ(WeeklyReportEngine::lastReportDate(machine.defaults), std::nullopt) << value.index();
        EXPECT_TRUE(isDue()) << value.index();
    }
    machine.defaults.values[key] = 0.5;
    EXPECT_EQ(WeeklyReportEngine::lastReportDate(machine.defaults), instantFromSeconds(0.5));
}

// What a report is made of

TEST_F(WeeklyReportEngineTest, theWeekComesFromTheStoreAndThePresentFromTheMonitor) {
    fill(15, 3 * day, 90, 95);
    fill(15, day, 10, 5);
    script->disk = {.free = 25e9, .total = 500e9};
    script->battery = BatteryDetails{.percentage = 50, .cycleCount = 512, .healthPercent = 79};
    machine.clock.setUptime(36000);
    cycle();
    const WeeklyReport report = generate();
    EXPECT_EQ(report.generatedAt, machine.clock.now());
    EXPECT_EQ(report.periodStart, instantFromSeconds(storeNow - 3 * day));
    EXPECT_EQ(report.periodEnd, machine.clock.now());
    EXPECT_EQ(report.daysOfData, 3);
    EXPECT_EQ(report.sampleCount, 30);
    EXPECT_EQ(report.avgCPU, 50);
    EXPECT_EQ(report.peakCPU, 90);
    EXPECT_EQ(report.avgPressure, 50);
    EXPECT_EQ(report.peakPressure, 95);
    EXPECT_EQ(report.currentDiskFreeGB, 25);
    EXPECT_EQ(report.systemUptimeHours, 10);
    EXPECT_EQ(report.batteryHealth, 79);
    EXPECT_EQ(report.batteryCycles, 512);
    EXPECT_EQ(report.healthScore, 100 - 10 - 25 - 8 - 15);
    EXPECT_EQ(report.headline, "A busy week — a few areas need attention.");
    ASSERT_EQ(report.insights.size(), 4u);
    EXPECT_EQ(report.insights[0].title, "Moderate CPU load");
    EXPECT_EQ(report.insights[1].title, "Memory under pressure");
    EXPECT_EQ(report.insights[2].title, "Disk getting tight");
    EXPECT_EQ(report.insights[3].title, "Battery is wearing down");
}

TEST_F(WeeklyReportEngineTest, withoutAMonitorTheDiskIsTheLeastOfTheWeek) {
    SnapshotValues values = test::sampleAt(storeNow - 60);
    values.diskFree = 30e9;
    database_.insertSnapshot(values);
    values = test::sampleAt(storeNow);
    values.diskFree = 90e9;
    database_.insertSnapshot(values);
    const WeeklyReport report = generate();
    EXPECT_EQ(report.currentDiskFreeGB, 30);
    EXPECT_EQ(report.batteryHealth, std::nullopt);
    EXPECT_EQ(report.insights.size(), 3u);
}

TEST_F(WeeklyReportEngineTest, aMonitorOfAMachineWithoutBatteryGivesNoBatteryInsight) {
    fill(2, 60);
    script->disk = {.free = 400e9, .total = 500e9};
    cycle();
    const WeeklyReport report = generate();
    EXPECT_EQ(report.currentDiskFreeGB, 400);
    EXPECT_EQ(report.insights.size(), 3u);
}

TEST_F(WeeklyReportEngineTest, aClosedStoreStillGivesAFullReport) {
    script->disk = {.free = 400e9, .total = 500e9};
    cycle();
    const DatabaseManager closed("", machine.clock);
    const WeeklyReport report = WeeklyReportEngine::generate(closed, machine.clock, monitor.get());
    EXPECT_EQ(report.sampleCount, 0);
    EXPECT_EQ(report.daysOfData, 7);
    EXPECT_EQ(report.periodEnd, report.generatedAt);
    EXPECT_EQ(report.healthScore, 100);
    EXPECT_EQ(report.insights.size(), 3u);
    EXPECT_EQ(report.headline, "Your Mac had a great week.");
}

TEST_F(WeeklyReportEngineTest, anInfiniteFigureTakesNothingFromTheOthers) {
    fill(29, day, 90);
    database_.insertSnapshot(test::sampleAt(storeNow, std::numeric_limits<double>::infinity(), 30));
    const WeeklyReport report = generate();
    EXPECT_EQ(report.sampleCount, 30);
    EXPECT_EQ(report.insights[0].title, "Sustained high CPU");
    EXPECT_EQ(report.avgCPU, 90);
    EXPECT_EQ(report.peakCPU, 90);
}

TEST_F(WeeklyReportEngineTest, anInfiniteRowOfTheStoreGivesNoGarbage) {
    fill(30, day);
    test::Sql(folder_.file("history.sqlite"))
        .run("UPDATE metrics_history SET cpu_usage = 9e999, memory_pressure = -9e999;");
    const WeeklyReport report = generate();
    EXPECT_EQ(report.sampleCount, 30);
    EXPECT_EQ(report.insights[0].detail, "CPU load was low all week, averaging 0%.");
    EXPECT_EQ(report.insights[1].detail, "Memory pressure remained low, averaging 0%.");
}

}  // namespace
}  // namespace corvanta
