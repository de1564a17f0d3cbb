// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/AnomalyDetector.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include "AnomalyHistory.h"

namespace corvanta {
namespace {

using test::HistoryRow;
using Verdict = AnomalyVerdict;
using Values = std::vector<double>;

Values repeated(std::size_t count, double value) {
    return Values(count, value);
}

Values operator+(Values values, const Values& more) {
    values.insert(values.end(), more.begin(), more.end());
    return values;
}

class AnomalyDetectorTest : public testing::Test {
  protected:
    AnomalyAssessment cpu() { return detector.assess(AnomalyMetric::cpu); }
    Verdict cpuVerdict(const Values& older, const Values& recent) {
        history.replace(older, recent);
        return AnomalyDetector(history.store, history.clock).assess(AnomalyMetric::cpu).verdict;
    }

    /// With 30 more values above it, these have a median of 20 and the deviation as its median.
    static Values aroundTwenty(double deviation) {
        return repeated(585, 20 - deviation) + repeated(800, 20) + repeated(585, 20 + deviation);
    }

    test::AnomalyHistory history;
    AnomalyDetector detector{history.store, history.clock};
};

TEST(AnomalyMetric, rowsOfTheTable) {
    struct Row {
        AnomalyMetric metric;
        std::string_view raw;
        std::string_view column;
        std::string_view name;
        double floor;
    };
    constexpr std::array rows = {
        Row{AnomalyMetric::cpu, "cpu", "cpu_usage", "CPU", 40.0},
        Row{AnomalyMetric::memoryPressure, "memoryPressure", "memory_pressure", "Memory pressure", 55.0},
    };
    ASSERT_EQ(allAnomalyMetrics.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(allAnomalyMetrics.at(i), rows.at(i).metric);
        EXPECT_EQ(rawValue(rows.at(i).metric), rows.at(i).raw);
        EXPECT_EQ(anomalyMetricFromRaw(rows.at(i).raw), rows.at(i).metric);
        EXPECT_EQ(column(rows.at(i).metric), rows.at(i).column);
        EXPECT_EQ(displayName(rows.at(i).metric), rows.at(i).name);
        EXPECT_EQ(absoluteFloor(rows.at(i).metric), rows.at(i).floor);
    }
    EXPECT_EQ(anomalyMetricFromRaw("CPU"), std::nullopt);
}

TEST(Anomaly, detailTellsBothFiguresInWholePercent) {
    EXPECT_EQ((Anomaly{AnomalyMetric::cpu, 71.6, 12.4, 9}.detail()),
              "CPU is at 72% — well above its usual 12% for your Mac.");
    EXPECT_EQ((Anomaly{AnomalyMetric::memoryPressure, 88, 0, 9}.detail()),
              "Memory pressure is at 88% — well above its usual 0% for your Mac.");
}

TEST(Anomaly, multipleIsZeroWithoutANormalLevel) {
    EXPECT_EQ((Anomaly{AnomalyMetric::cpu, 60, 20, 9}.multiple()), 3);
    EXPECT_EQ((Anomaly{AnomalyMetric::cpu, 60, 0, 9}.multiple()), 0);
    EXPECT_EQ((Anomaly{AnomalyMetric::cpu, 60, -1, 9}.multiple()), 0);
}

TEST_F(AnomalyDetectorTest, aQuietMachineIsMeasuredByTheSmallestScale) {
    history.replace(repeated(1970, 20), repeated(30, 40));
    const Anomaly expected{AnomalyMetric::cpu, 40, 20, 13.49};
    EXPECT_EQ(detector.check(), std::vector{expected});
    EXPECT_EQ(cpu(), (AnomalyAssessment{.metric = AnomalyMetric::cpu,
                                        .verdict = Verdict::unusual,
                                        .baseline = MetricBaseline{20, 0, 2000, history.clock.now()},
                                        .recentMedian = 40,
                                        .score = 13.49}));
}

TEST_F(AnomalyDetectorTest, theScaleIsNeverBelowATwentiethOfTheBaseline) {
    history.replace(repeated(585, 49) + repeated(800, 50) + repeated(585, 51), repeated(30, 75));
    EXPECT_EQ(cpu().baseline->mad, 1);
    EXPECT_EQ(cpu().score, (75 - 50) * 0.6745 / 2.5);
}

TEST_F(AnomalyDetectorTest, aDeviationAboveBothFloorsIsTheScale) {
    history.replace(aroundTwenty(4), repeated(30, 60));
    EXPECT_EQ(cpu().baseline->mad, 4);
    EXPECT_EQ(cpu().score, 40 * 0.6745 / 4);
}

TEST_F(AnomalyDetectorTest, aScoreOfExactlyTheThresholdCounts) {
    // 7000/128 * 0.6745 / (1349/128) is 3.5 without a rest.
    const double deviation = 1349.0 / 128;
    history.replace(aroundTwenty(deviation), repeated(30, 20 + 7000.0 / 128));
    EXPECT_EQ(cpu().score, 3.5);
    EXPECT_EQ(cpu().verdict, Verdict::unusual);
    EXPECT_EQ(detector.check().size(), 1U);
    EXPECT_EQ(cpuVerdict(aroundTwenty(deviation), repeated(30, 20 + 7000.0 / 128 - 1.0 / 1024)),
              Verdict::usual);
}

TEST_F(AnomalyDetectorTest, aVerdictNeedsTwoThousandBaselineAndThirtyRecentValues) {
    EXPECT_EQ(cpuVerdict(repeated(1970, 10), repeated(30, 90)), Verdict::unusual);
    EXPECT_EQ(cpuVerdict(repeated(1969, 10), repeated(30, 90)), Verdict::baselineTooShort);
    EXPECT_EQ(cpuVerdict(repeated(1971, 10), repeated(29, 90)), Verdict::tooFewRecentValues);
    EXPECT_EQ(cpuVerdict(repeated(1970, 10), repeated(29, 90)), Verdict::baselineTooShort);
}

TEST_F(AnomalyDetectorTest, aBaselineNeedsThirtyValues) {
    history.replace(repeated(29, 10), {});
    EXPECT_EQ(cpu(), AnomalyAssessment{});
    history.replace(repeated(30, 10), {});
    EXPECT_EQ(cpu(), (AnomalyAssessment{.metric = AnomalyMetric::cpu,
                                        .verdict = Verdict::baselineTooShort,
                                        .baseline = MetricBaseline{10, 0, 30, history.clock.now()}}));
}

TEST_F(AnomalyDetectorTest, aRecentMedianBelowTheFloorIsNeverUnusual) {
    EXPECT_EQ(cpuVerdict(repeated(1970, 0), repeated(30, 39.9)), Verdict::belowFloor);
    EXPECT_EQ(cpuVerdict(repeated(1970, 0), repeated(30, 40.0)), Verdict::unusual);

    const auto pressureVerdict = [this](double recent) {
        std::vector<HistoryRow> rows;
        rows.reserve(2200);
        for (int i = 0; i < 1970; ++i) rows.push_back({1000 + i, std::nullopt, 1.0});
        for (int i = 0; i < 30; ++i) rows.push_back({i, std::nullopt, recent});
        history.replace(rows);
        return AnomalyDetector(history.store, history.clock).assess(AnomalyMetric::memoryPressure).verdict;
    };
    EXPECT_EQ(pressureVerdict(54.9), Verdict::belowFloor);
    EXPECT_EQ(pressureVerdict(55.0), Verdict::unusual);
}

TEST_F(AnomalyDetectorTest, aFallBelowTheNormalLevelIsUsual) {
    history.replace(repeated(1970, 90), repeated(30, 45));
    EXPECT_EQ(cpu().verdict, Verdict::usual);
    EXPECT_LT(cpu().score.value_or(0), -3.5);
    EXPECT_TRUE(detector.check().empty());
}

TEST_F(AnomalyDetectorTest, anEvenNumberOfRecentValuesIsTakenByTheMeanOfTheTwoInTheMiddle) {
    history.replace(repeated(1970, 10), repeated(15, 41) + repeated(15, 48));
    EXPECT_EQ(cpu().recentMedian, 44.5);
    history.replace(repeated(1970, 10), repeated(15, 41) + repeated(16, 48));
    EXPECT_EQ(cpu().recentMedian, 48);
}

TEST_F(AnomalyDetectorTest, bothWindowsIncludeTheirOldestSecond) {
    std::vector<HistoryRow> rows;
    rows.reserve(2200);
    for (int i = 0; i < 29; ++i) rows.push_back({0, 90.0, std::nullopt});
    for (int i = 0; i < 1970; ++i) rows.push_back({604800, 10.0, std::nullopt});
    const auto verdictWith = [&](std::int64_t age) {
        auto all = rows;
        all.push_back({age, 90.0, std::nullopt});
        history.replace(all);
        return AnomalyDetector(history.store, history.clock).assess(AnomalyMetric::cpu).verdict;
    };
    EXPECT_EQ(verdictWith(900), Verdict::unusual);
    EXPECT_EQ(verdictWith(901), Verdict::tooFewRecentValues);
    EXPECT_EQ(verdictWith(604801), Verdict::baselineTooShort);
}

TEST_F(AnomalyDetectorTest, bothMetricsAreToldInTheirOrder) {
    std::vector<HistoryRow> rows;
    rows.reserve(2200);
    for (int i = 0; i < 1970; ++i) rows.push_back({1000 + i, 10.0, 20.0});
    for (int i = 0; i < 30; ++i) rows.push_back({i, 50.0, 90.0});
    history.replace(rows);
    const auto found = detector.check();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].metric, AnomalyMetric::cpu);
    EXPECT_EQ(found[1].metric, AnomalyMetric::memoryPressure);
    EXPECT_EQ(found[1].recentMedian, 90);
    EXPECT_EQ(found[1].baselineMedian, 20);
}

TEST_F(AnomalyDetectorTest, aBaselineIsReusedForAnHour) {
    history.replace(repeated(1970, 10), repeated(30, 90));
    const Instant begin = history.clock.now();
    ASSERT_EQ(cpu().baseline->median, 10);

    history.clock.advance(3599);
    history.replace(repeated(1970, 30), repeated(30, 90));
    EXPECT_EQ(cpu().baseline, (MetricBaseline{10, 0, 2000, begin}));

    history.clock.advance(1);
    history.replace(repeated(1980, 30), repeated(30, 90));
    EXPECT_EQ(cpu().baseline, (MetricBaseline{30, 0, 2010, history.clock.now()}));
}

TEST_F(AnomalyDetectorTest, anExpiredBaselineThatCannotBeRecomputedGivesNoVerdict) {
    history.replace(repeated(1970, 10), repeated(30, 90));
    ASSERT_EQ(cpu().verdict, Verdict::unusual);
    history.clock.advance(3600);
    history.replace({}, repeated(29, 90));
    EXPECT_EQ(cpu(), AnomalyAssessment{});
    history.replace(repeated(1970, 10), repeated(30, 90));
    EXPECT_EQ(cpu().verdict, Verdict::unusual);
}

TEST_F(AnomalyDetectorTest, eachMetricHasItsOwnBaseline) {
    history.replace(repeated(1970, 10), repeated(30, 90));
    detector.check();
    EXPECT_EQ(detector.assess(AnomalyMetric::memoryPressure).verdict, Verdict::tooFewValuesForBaseline);
}

TEST_F(AnomalyDetectorTest, missingAndInfiniteValuesDoNotCount) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    std::vector<HistoryRow> rows;
    rows.reserve(2200);
    for (int i = 0; i < 1970; ++i) rows.push_back({1000 + i, 10.0, std::nullopt});
    for (int i = 0; i < 30; ++i) rows.push_back({i, 60.0, infinite});
    for (const auto& odd : {std::optional<double>(), std::optional(infinite), std::optional(-infinite)}) {
        for (int i = 0; i < 40; ++i) rows.push_back({i, odd, odd});
    }
    history.replace(rows);
    EXPECT_EQ(cpu(), (AnomalyAssessment{.metric = AnomalyMetric::cpu,
                                        .verdict = Verdict::unusual,
                                        .baseline = MetricBaseline{10, 0, 2000, history.clock.now()},
                                        .recentMedian = 60,
                                        .score = 50 * 0.6745}));
    EXPECT_EQ(detector.assess(AnomalyMetric::memoryPressure).verdict, Verdict::tooFewValuesForBaseline);
}

TEST_F(AnomalyDetectorTest, numbersAtTheEndOfTheRangeGiveNoVerdictOutOfNothing) {
    history.replace(repeated(2500, -1.7e308), repeated(50, 1.7e308));
    EXPECT_TRUE(detector.check().empty());
    EXPECT_EQ(cpu(), AnomalyAssessment{});  // no median and no score either
}

TEST_F(AnomalyDetectorTest, aMillionPercentIsMissing) {
    EXPECT_EQ(cpuVerdict(repeated(1970, 20), repeated(30, 999'999.5)), Verdict::unusual);
    EXPECT_EQ(cpuVerdict(repeated(2000, 20), repeated(30, 1e6)), Verdict::tooFewRecentValues);
    EXPECT_EQ(cpuVerdict(repeated(1970, -999'999.5), repeated(30, 40)), Verdict::unusual);
    EXPECT_EQ(cpuVerdict(repeated(1970, -1e6), repeated(30, 40)), Verdict::baselineTooShort);
}

TEST_F(AnomalyDetectorTest, anEmptyStoreAndAClosedOneGiveNothing) {
    EXPECT_TRUE(detector.check().empty());
    EXPECT_EQ(cpu(), AnomalyAssessment{});

    const DatabaseManager closed("", history.clock, StoreAccess::readOnly);
    ASSERT_NE(closed.state(), StoreState::ready);
    AnomalyDetector blind(closed, history.clock);
    EXPECT_TRUE(blind.check().empty());
}

/// Runs a function the next time that it is asked for the moment, as the store does in each query.
class InterruptingClock final : public Clock {
  public:
    Instant now() const override {
        if (const auto function = std::exchange(interruption, nullptr)) function();
        return instantFromSeconds(static_cast<double>(test::storeNow));
    }
    double systemUptime() const override { return 0; }

    mutable std::function<void()> interruption;
};

TEST(AnomalyDetectorLocks, noLockIsHeldDuringAQuery) {
    const test::TempDirectory folder;
    InterruptingClock interrupting;
    const test::FakeClock clock;
    const DatabaseManager store(folder.file("history.sqlite"), interrupting);
    AnomalyDetector detector(store, clock);
    int interruptions = 0;
    interrupting.interruption = [&] {
        ++interruptions;
        detector.check();  // would never return
    };
    detector.check();
    EXPECT_EQ(interruptions, 1);
}

TEST_F(AnomalyDetectorTest, anyNumberOfThreadsMayCheck) {
    history.replace(repeated(1970, 20), repeated(30, 40));
    const std::vector<Anomaly> expected{{AnomalyMetric::cpu, 40, 20, 13.49}};
    std::vector<std::thread> callers;
    callers.reserve(3);
    for (int thread = 0; thread < 3; ++thread) {
        callers.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                EXPECT_EQ(detector.check(), expected);
                history.clock.advance(0.25);
            }
        });
    }
    for (std::thread& caller : callers) caller.join();
}

}  // namespace
}  // namespace corvanta
