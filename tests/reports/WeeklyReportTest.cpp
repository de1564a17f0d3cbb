// SPDX-License-Identifier: Apache-2.0
#include "reports/WeeklyReport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "reports/WeeklyReportEngine.h"

namespace corvanta {
namespace {

using Severity = WeeklyReport::ReportInsight::Severity;

constexpr Instant now = instantFromSeconds(1'800'000'000.25);
constexpr WeeklyReportPresent calmPresent{.diskFree = 500e9};

WeeklyStats calmWeek() {
    WeeklyStats stats;
    stats.sampleCount = 100;
    stats.earliest = instantFromSeconds(1'799'500'000);
    stats.latest = instantFromSeconds(1'799'999'990);
    stats.avgCPU = 12;
    stats.peakCPU = 80;
    stats.avgPressure = 30;
    stats.peakPressure = 50;
    stats.minDiskFree = 300e9;
    return stats;
}

WeeklyReport report(const std::optional<WeeklyStats>& stats,
                    const std::optional<WeeklyReportPresent>& present = calmPresent) {
    return WeeklyReportEngine::makeReport(stats, present, now, 5400);
}
WeeklyReport withCPU(double average, double peak) {
    WeeklyStats stats = calmWeek();
    stats.avgCPU = average;
    stats.peakCPU = peak;
    return report(stats);
}
WeeklyReport withPressure(double average, double peak) {
    WeeklyStats stats = calmWeek();
    stats.avgPressure = average;
    stats.peakPressure = peak;
    return report(stats);
}
WeeklyReport withDisk(double free) {
    return report(calmWeek(), WeeklyReportPresent{.diskFree = free});
}
WeeklyReport withBattery(std::int64_t health, std::optional<std::int64_t> cycles = std::nullopt) {
    return report(calmWeek(), WeeklyReportPresent{500e9, health, cycles});
}

struct Expected {
    Severity severity;
    std::int64_t score;
    std::string title;
    std::string detail;
};

void expectInsight(const WeeklyReport& report, std::size_t area, const Expected& expected) {
    ASSERT_GT(report.insights.size(), area);
    const WeeklyReport::ReportInsight& insight = report.insights[area];
    EXPECT_EQ(insight.severity, expected.severity);
    EXPECT_EQ(report.healthScore, expected.score);
    EXPECT_EQ(insight.title, expected.title);
    EXPECT_EQ(insight.detail, expected.detail);
}

// The record

TEST(WeeklyReport, thirtySamplesAreSufficientData) {
    WeeklyReport report;
    report.sampleCount = 29;
    EXPECT_FALSE(report.hasSufficientData());
    report.sampleCount = 30;
    EXPECT_TRUE(report.hasSufficientData());
}

TEST(WeeklyReport, eachInsightHasAnIdentifierOfItsOwn) {
    std::set<QUuid> ids;
    for (int i = 0; i < 3; ++i) {
        for (const auto& insight : withBattery(90).insights) {
            EXPECT_FALSE(insight.id.isNull());
            ids.insert(insight.id);
        }
    }
    EXPECT_EQ(ids.size(), 12u);
}

TEST(WeeklyReport, severitiesStandInTheirOrder) {
    std::vector<std::string_view> words;
    for (const Severity severity : allReportSeverities) {
        words.push_back(rawValue(severity));
        EXPECT_EQ(reportSeverityFromRaw(rawValue(severity)), severity);
    }
    EXPECT_EQ(words, (std::vector<std::string_view>{"good", "notice", "warning", "critical"}));
    EXPECT_EQ(reportSeverityFromRaw("bad"), std::nullopt);
}

// The figures

TEST(WeeklyReport, figuresAreThoseOfTheWeekAndOfNow) {
    const WeeklyReport made = report(calmWeek(), WeeklyReportPresent{123.456e9, 95, 40});
    EXPECT_EQ(made.generatedAt, now);
    EXPECT_EQ(made.periodStart, instantFromSeconds(1'799'500'000));
    EXPECT_EQ(made.periodEnd, instantFromSeconds(1'799'999'990));
    EXPECT_EQ(made.sampleCount, 100);
    EXPECT_DOUBLE_EQ(made.daysOfData, 499'990.0 / 86400);
    EXPECT_EQ(made.avgCPU, 12);
    EXPECT_EQ(made.peakCPU, 80);
    EXPECT_EQ(made.avgPressure, 30);
    EXPECT_EQ(made.peakPressure, 50);
    EXPECT_DOUBLE_EQ(made.currentDiskFreeGB, 123.456);
    EXPECT_EQ(made.systemUptimeHours, 1.5);
    EXPECT_EQ(made.batteryHealth, 95);
    EXPECT_EQ(made.batteryCycles, 40);
    EXPECT_EQ(made.healthScore, 100);
    EXPECT_EQ(made.headline, "Your Mac had a great week.");
}

TEST(WeeklyReport, withoutHistoryThePeriodIsTheLastSevenDaysAndTheFiguresAreZero) {
    const WeeklyReport made = report(std::nullopt);
    EXPECT_EQ(secondsSince1970(made.periodStart), 1'800'000'000.25 - 604800);
    EXPECT_EQ(made.periodEnd, now);
    EXPECT_EQ(made.daysOfData, 7);
    EXPECT_EQ(made.sampleCount, 0);
    EXPECT_FALSE(made.hasSufficientData());
    EXPECT_EQ(made.avgCPU, 0);
    EXPECT_EQ(made.peakCPU, 0);
    EXPECT_EQ(made.avgPressure, 0);
    EXPECT_EQ(made.peakPressure, 0);
    EXPECT_EQ(made.healthScore, 100);
    ASSERT_EQ(made.insights.size(), 3u);
    EXPECT_EQ(made.insights[0].title, "CPU stayed healthy");
    EXPECT_EQ(made.insights[1].title, "Memory stayed comfortable");
    EXPECT_EQ(made.insights[2].detail, "500 GB free on your startup disk.");
}

TEST(WeeklyReport, withoutHistoryAndMachineTheDiskReadsAsZero) {
    const WeeklyReport made = report(std::nullopt, std::nullopt);
    EXPECT_EQ(made.currentDiskFreeGB, 0);
    EXPECT_EQ(made.insights.back().severity, Severity::critical);
}

TEST(WeeklyReport, withoutAMachineTheDiskIsTheLeastOfTheWeekAndThereIsNoBattery) {
    const WeeklyReport made = report(calmWeek(), std::nullopt);
    EXPECT_EQ(made.currentDiskFreeGB, 300);
    EXPECT_EQ(made.batteryHealth, std::nullopt);
    EXPECT_EQ(made.batteryCycles, std::nullopt);
    EXPECT_EQ(made.insights.size(), 3u);
}

TEST(WeeklyReport, aPeriodThatRunsBackwardsHasNoDays) {
    WeeklyStats stats = calmWeek();
    std::swap(stats.earliest, stats.latest);
    EXPECT_EQ(report(stats).daysOfData, 0);
}

TEST(WeeklyReport, aFigureThatIsNoNumberCountsAsZero) {
    for (const double broken :
         {std::nan(""), std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        WeeklyStats stats = calmWeek();
        stats.avgCPU = stats.peakCPU = stats.avgPressure = stats.peakPressure = stats.minDiskFree = broken;
        for (const auto& present :
             {std::optional(WeeklyReportPresent{.diskFree = broken}), std::optional<WeeklyReportPresent>()}) {
            const WeeklyReport made = WeeklyReportEngine::makeReport(stats, present, now, broken);
            EXPECT_EQ(made.avgCPU, 0);
            EXPECT_EQ(made.peakCPU, 0);
            EXPECT_EQ(made.avgPressure, 0);
            EXPECT_EQ(made.peakPressure, 0);
            EXPECT_EQ(made.currentDiskFreeGB, 0);
            EXPECT_EQ(made.systemUptimeHours, 0);
            EXPECT_EQ(made.healthScore, 80);
            EXPECT_EQ(made.insights[0].detail, "CPU load was low all week, averaging 0%.");
            EXPECT_EQ(made.insights[1].detail, "Memory pressure remained low, averaging 0%.");
        }
    }
}

TEST(WeeklyReport, aPercentageThatNoMachineGivesCountsAsZero) {
    for (const double broken : {1e6, -1e6, 1.7e308}) {
        WeeklyStats stats = calmWeek();
        stats.avgCPU = stats.peakCPU = stats.avgPressure = stats.peakPressure = broken;
        const WeeklyReport made = report(stats);
        EXPECT_EQ(made.avgCPU, 0);
        EXPECT_EQ(made.peakCPU, 0);
        EXPECT_EQ(made.avgPressure, 0);
        EXPECT_EQ(made.peakPressure, 0);
        EXPECT_EQ(made.healthScore, 100);
    }
    EXPECT_EQ(withCPU(50, 999'999.5).peakCPU, 999'999.5);
}

// CPU

TEST(WeeklyReport, cpuAboveSixtyOnAverageIsAWarning) {
    expectInsight(
        withCPU(60.1, 99.6), 0,
        {Severity::warning, 75, "Sustained high CPU",
         "CPU averaged 60% this week and peaked at 100%. Something has been keeping your Mac busy — "
         "check the top processes."});
}

TEST(WeeklyReport, cpuOfExactlySixtyOnAverageIsANotice) {
    expectInsight(withCPU(60.0, 70), 0,
                  {Severity::notice, 90, "Moderate CPU load",
                   "CPU averaged 60%, with peaks to 70%. Normal for heavier workloads."});
    EXPECT_EQ(withCPU(35.1, 70).insights[0].severity, Severity::notice);
}

TEST(WeeklyReport, cpuOfExactlyThirtyFiveOnAverageIsGood) {
    expectInsight(withCPU(35, 100), 0,
                  {Severity::good, 100, "CPU stayed healthy", "CPU load was low all week, averaging 35%."});
}

// Memory

TEST(WeeklyReport, aPeakOfPressureAboveNinetyIsAWarningWithBothFigures) {
    expectInsight(withPressure(10, 91), 1,
                  {Severity::warning, 75, "Memory under pressure",
                   "Memory pressure averaged 10% and peaked at 91%. You may benefit from closing heavy apps "
                   "sooner — or more RAM headroom."});
    EXPECT_EQ(withPressure(10, 90.1).insights[1].severity, Severity::warning);
}

TEST(WeeklyReport, aPeakOfPressureOfExactlyNinetyIsNoWarning) {
    expectInsight(
        withPressure(10, 90), 1,
        {Severity::good, 100, "Memory stayed comfortable", "Memory pressure remained low, averaging 10%."});
}

TEST(WeeklyReport, pressureAboveSixtyOnAverageIsAWarning) {
    expectInsight(withPressure(60.1, 70), 1,
                  {Severity::warning, 75, "Memory under pressure",
                   "Memory pressure averaged 60% and peaked at 70%. You may benefit from closing heavy apps "
                   "sooner — or more RAM headroom."});
}

TEST(WeeklyReport, pressureOfExactlySixtyOnAverageIsANotice) {
    expectInsight(
        withPressure(60, 70), 1,
        {Severity::notice, 90, "Memory moderately used", "Memory pressure averaged 60% this week."});
    EXPECT_EQ(withPressure(40.1, 70).insights[1].severity, Severity::notice);
}

TEST(WeeklyReport, pressureOfExactlyFortyOnAverageIsGood) {
    expectInsight(
        withPressure(40, 70), 1,
        {Severity::good, 100, "Memory stayed comfortable", "Memory pressure remained low, averaging 40%."});
}

// Disk

TEST(WeeklyReport, lessThanFifteenGigabytesFreeIsCritical) {
    expectInsight(withDisk(14.99e9), 2,
                  {Severity::critical, 80, "Disk almost full",
                   "Only 15 GB free. macOS needs free space to run well — clear some room soon."});
}

TEST(WeeklyReport, exactlyFifteenGigabytesFreeIsANotice) {
    expectInsight(withDisk(15e9), 2,
                  {Severity::notice, 92, "Disk getting tight", "15 GB free. Keep an eye on your storage."});
    EXPECT_EQ(withDisk(39.9e9).insights[2].severity, Severity::notice);
}

TEST(WeeklyReport, exactlyFortyGigabytesFreeIsGood) {
    expectInsight(withDisk(40e9), 2,
                  {Severity::good, 100, "Plenty of disk space", "40 GB free on your startup disk."});
}

// Battery

TEST(WeeklyReport, aBatteryHealthOfNinetyIsGood) {
    expectInsight(withBattery(90, 12), 3,
                  {Severity::good, 100, "Battery is healthy", "Battery health is at 90% (12 cycles)."});
}

TEST(WeeklyReport, aBatteryHealthBelowNinetyIsANotice) {
    expectInsight(withBattery(89, 300), 3,
                  {Severity::notice, 95, "Battery aging normally", "Battery health is at 89% (300 cycles)."});
    EXPECT_EQ(withBattery(80).insights[3].severity, Severity::notice);
}

TEST(WeeklyReport, aBatteryHealthBelowEightyIsAWarningThatEndsWithTheService) {
    expectInsight(withBattery(79, 512), 3,
                  {Severity::warning, 85, "Battery is wearing down",
                   "Battery health is at 79% (512 cycles). Below 80% Apple recommends a service check."});
}

TEST(WeeklyReport, withoutACycleCountTheDetailReadsStraightOn) {
    EXPECT_EQ(withBattery(95).insights[3].detail, "Battery health is at 95%.");
    EXPECT_EQ(withBattery(85).insights[3].detail, "Battery health is at 85%.");
    EXPECT_EQ(withBattery(70).insights[3].detail,
              "Battery health is at 70%. Below 80% Apple recommends a service check.");
}

TEST(WeeklyReport, withoutABatteryThereAreThreeInsights) {
    EXPECT_EQ(report(calmWeek()).insights.size(), 3u);
    // A cycle count alone is not judged.
    EXPECT_EQ(report(calmWeek(), WeeklyReportPresent{500e9, std::nullopt, 512}).insights.size(), 3u);
}

// Score and headline

TEST(WeeklyReport, allWarningsAtOnceScoreFifteen) {
    WeeklyStats stats = calmWeek();
    stats.avgCPU = stats.avgPressure = 61;
    const WeeklyReport made = report(stats, WeeklyReportPresent{1e9, 79, std::nullopt});
    EXPECT_EQ(made.healthScore, 15);
    EXPECT_EQ(made.headline, "Your Mac struggled this week. Let's fix a few things.");
    std::vector<Severity> severities;
    for (const auto& insight : made.insights) severities.push_back(insight.severity);
    EXPECT_EQ(severities, (std::vector<Severity>{Severity::warning, Severity::warning, Severity::critical,
                                                 Severity::warning}));
}

TEST(WeeklyReport, headlineFollowsTheScore) {
    const std::string great = "Your Mac had a great week.";
    const std::string well = "Your Mac ran well, with a few things to watch.";
    const std::string busy = "A busy week — a few areas need attention.";
    const std::string struggled = "Your Mac struggled this week. Let's fix a few things.";
    struct Row {
        std::int64_t score;
        std::string headline;
    };
    for (const Row& row : std::vector<Row>{{100, great},
                                           {85, great},
                                           {84, well},
                                           {65, well},
                                           {64, busy},
                                           {40, busy},
                                           {39, struggled},
                                           {15, struggled}}) {
        EXPECT_EQ(WeeklyReportEngine::headlineFor(row.score), row.headline) << row.score;
    }
}

TEST(WeeklyReport, aReportHasTheHeadlineOfItsScore) {
    WeeklyStats stats = calmWeek();
    WeeklyReportPresent present = calmPresent;
    const auto expectHeadline = [&](std::int64_t score) {
        const WeeklyReport made = report(stats, present);
        EXPECT_EQ(made.healthScore, score);
        EXPECT_EQ(made.headline, WeeklyReportEngine::headlineFor(score));
    };
    expectHeadline(100);
    present.batteryHealth = 79;
    expectHeadline(85);
    stats.avgCPU = 36;
    expectHeadline(75);
    stats.avgPressure = 61;
    expectHeadline(50);
    present.diskFree = 1e9;
    expectHeadline(30);
}

}  // namespace
}  // namespace corvanta
