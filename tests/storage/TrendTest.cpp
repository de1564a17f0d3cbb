// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "storage/DatabaseManager.h"
#include "storage/StoreTestSupport.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::sampleAt;
using test::storeNow;
using Direction = TrendResult::TrendDirection;
using Severity = TrendResult::TrendSeverity;

class Trends : public ::testing::Test {
  protected:
    /// One sample inside the short window, one only inside the long one.
    void given(double recentCPU, double earlierCPU, double recentPressure, double earlierPressure) {
        store.insertSnapshot(sampleAt(storeNow - 2000, earlierCPU, earlierPressure));
        store.insertSnapshot(sampleAt(storeNow - 10, recentCPU, recentPressure));
    }
    /// The trend of a CPU whose short-term and long-term means are these, memory being steady and low.
    std::vector<TrendResult> cpuTrend(double shortTerm, double longTerm) {
        given(shortTerm, 2 * longTerm - shortTerm, 10, 10);
        return store.detectTrends();
    }

    test::TempDirectory folder;
    test::FakeClock clock;
    DatabaseManager store{folder.file("history.sqlite"), clock};
};

TEST_F(Trends, risingMetricIsReportedWithItsMeans) {
    given(60, 20, 10, 10);
    EXPECT_EQ(store.detectTrends(), (std::vector<TrendResult>{{.metric = "CPU",
                                                               .shortTermAvg = 60,
                                                               .longTermAvg = 40,
                                                               .trend = Direction::rising,
                                                               .severity = Severity::elevated}}));
}

TEST_F(Trends, cpuComesBeforeMemoryPressure) {
    given(60, 20, 10, 50);
    const auto trends = store.detectTrends();
    ASSERT_EQ(trends.size(), 2u);
    EXPECT_EQ(trends[0].metric, "CPU");
    EXPECT_EQ(trends[1], (TrendResult{.metric = "Memory Pressure",
                                      .shortTermAvg = 10,
                                      .longTermAvg = 30,
                                      .trend = Direction::falling,
                                      .severity = Severity::normal}));
}

TEST_F(Trends, memoryIsThePressureAndNotTheOtherColumn) {
    SnapshotValues values = sampleAt(storeNow - 10, 10, 90);
    values.ram = 1;
    store.insertSnapshot(values);
    const auto trends = store.detectTrends();
    ASSERT_EQ(trends.size(), 1u);
    EXPECT_EQ(trends[0].shortTermAvg, 90);
}

TEST_F(Trends, ratioOfExactlyOnePointTwoIsSteady) {
    EXPECT_TRUE(cpuTrend(60, 50).empty());
}

TEST_F(Trends, ratioJustAboveOnePointTwoIsRising) {
    const auto trends = cpuTrend(60.0625, 50);
    ASSERT_EQ(trends.size(), 1u);
    EXPECT_EQ(trends[0].trend, Direction::rising);
}

TEST_F(Trends, ratioOfExactlyZeroPointEightIsSteady) {
    EXPECT_TRUE(cpuTrend(32, 40).empty());
}

TEST_F(Trends, ratioJustBelowZeroPointEightIsFalling) {
    const auto trends = cpuTrend(31.9375, 40);
    ASSERT_EQ(trends.size(), 1u);
    EXPECT_EQ(trends[0].trend, Direction::falling);
}

TEST_F(Trends, longMeanOfZeroIsSteadyWhateverTheShortOneIs) {
    // The mean of the long period is 0 although it contains the 10 of the short one.
    EXPECT_TRUE(cpuTrend(10, 0).empty());
    EXPECT_EQ(store.averageCPU(3600), 0.0);
}

TEST_F(Trends, longMeanBelowZeroIsSteady) {
    EXPECT_TRUE(cpuTrend(10, -5).empty());
}

struct SeverityCase {
    double cpu;
    double pressure;
    Severity cpuSeverity;
    Severity pressureSeverity;
};

class TrendSeverities : public Trends, public ::testing::WithParamInterface<SeverityCase> {};

TEST_P(TrendSeverities, followTheShortMeanWithInclusiveLines) {
    const SeverityCase& expected = GetParam();
    // Both rise from zero, so that both are reported at every severity.
    given(expected.cpu, 0, expected.pressure, 0);
    const auto trends = store.detectTrends();
    ASSERT_EQ(trends.size(), 2u);
    EXPECT_EQ(trends[0].severity, expected.cpuSeverity);
    EXPECT_EQ(trends[1].severity, expected.pressureSeverity);
}

INSTANTIATE_TEST_SUITE_P(Lines, TrendSeverities,
                         ::testing::Values(SeverityCase{49.9375, 59.9375, Severity::normal, Severity::normal},
                                           SeverityCase{50.0, 60.0, Severity::elevated, Severity::elevated},
                                           SeverityCase{74.9375, 84.9375, Severity::elevated,
                                                        Severity::elevated},
                                           SeverityCase{75.0, 85.0, Severity::high, Severity::high}));

TEST_F(Trends, steadyMetricIsReportedOnlyWhenItIsHigh) {
    given(80, 80, 40, 40);
    EXPECT_EQ(store.detectTrends(), (std::vector<TrendResult>{{.metric = "CPU",
                                                               .shortTermAvg = 80,
                                                               .longTermAvg = 80,
                                                               .trend = Direction::steady,
                                                               .severity = Severity::high}}));
}

TEST_F(Trends, steadyAndElevatedMetricIsNotReported) {
    given(60, 60, 70, 70);
    EXPECT_TRUE(store.detectTrends().empty());
}

TEST_F(Trends, shortWindowWithoutRowsGivesNoTrends) {
    store.insertSnapshot(sampleAt(storeNow - 901, 90, 90));
    EXPECT_TRUE(store.detectTrends().empty());
    store.insertSnapshot(sampleAt(storeNow - 900, 90, 90));
    EXPECT_EQ(store.detectTrends().size(), 2u);
}

TEST_F(Trends, longWindowIsOneHourByDefaultAndAnyLengthOnRequest) {
    store.insertSnapshot(sampleAt(storeNow - 3601, 90, 10));
    store.insertSnapshot(sampleAt(storeNow - 10, 10, 10));
    EXPECT_TRUE(store.detectTrends().empty());
    EXPECT_EQ(store.detectTrends(900, 3601).size(), 1u);
    EXPECT_TRUE(store.detectTrends(900, 0).empty()) << "a long window without rows";
}

/// Between the two reads of `detectTrends`, for which the store asks the time again, it has another thread
/// insert a row, and gives that thread a while to get done with it.
class InterruptingClock final : public Clock {
  public:
    Instant now() const override {
        if (store != nullptr && ++readings == 2) {
            writer = std::async(std::launch::async,
                                [this] { store->insertSnapshot(sampleAt(storeNow, 100, 100)); });
            insertedBetween = writer.wait_for(std::chrono::milliseconds(200)) == std::future_status::ready;
        }
        return instantFromSeconds(storeNow);
    }
    double systemUptime() const override { return 0; }

    DatabaseManager* store = nullptr;
    mutable int readings = 0;
    mutable bool insertedBetween = false;
    mutable std::future<void> writer;
};

TEST(TrendReads, bothSeeOneStateOfTheTable) {
    const test::TempDirectory folder;
    InterruptingClock interrupting;
    DatabaseManager store(folder.file("history.sqlite"), interrupting);
    store.insertSnapshot(sampleAt(storeNow, 80, 90));
    interrupting.store = &store;
    // The two means of two equal windows differ if a row comes between the reads.
    const auto trends = store.detectTrends(900, 900);
    ASSERT_EQ(trends.size(), 2u);
    for (const TrendResult& trend : trends) EXPECT_EQ(trend.shortTermAvg, trend.longTermAvg);
    EXPECT_FALSE(interrupting.insertedBetween);
    ASSERT_TRUE(interrupting.writer.valid()) << "nobody tried";
    interrupting.writer.get();
    EXPECT_EQ(store.averageCPU(900), 90.0) << "the row comes in afterwards";
}

TEST(TrendSummary, hasOneSentenceForEachDirectionAndSeverity) {
    struct Row {
        Direction trend;
        Severity severity;
        const char* text;
    };
    for (const Row& row : {
             Row{Direction::rising, Severity::normal, "CPU is at normal levels."},
             Row{Direction::rising, Severity::elevated, "CPU is trending above its normal baseline."},
             Row{Direction::rising, Severity::high,
                 "CPU has been rising significantly over the last hour — currently well above baseline."},
             Row{Direction::falling, Severity::normal, "CPU is trending downward."},
             Row{Direction::falling, Severity::elevated, "CPU is trending downward."},
             Row{Direction::falling, Severity::high, "CPU is trending downward."},
             Row{Direction::steady, Severity::normal, "CPU is at normal levels."},
             Row{Direction::steady, Severity::elevated, "CPU is at normal levels."},
             Row{Direction::steady, Severity::high, "CPU is at normal levels."},
         }) {
        EXPECT_EQ(summary({.metric = "CPU", .trend = row.trend, .severity = row.severity}), row.text);
    }
    EXPECT_EQ(summary({.metric = "Memory Pressure", .trend = Direction::falling}),
              "Memory Pressure is trending downward.");
}

TEST(TrendRawValues, areStableAndReadBack) {
    EXPECT_EQ(rawValue(Direction::rising), "rising");
    EXPECT_EQ(rawValue(Direction::falling), "falling");
    EXPECT_EQ(rawValue(Direction::steady), "steady");
    EXPECT_EQ(rawValue(Severity::normal), "normal");
    EXPECT_EQ(rawValue(Severity::elevated), "elevated");
    EXPECT_EQ(rawValue(Severity::high), "high");
    EXPECT_EQ(allTrendDirections, (std::array{Direction::rising, Direction::falling, Direction::steady}));
    EXPECT_EQ(allTrendSeverities, (std::array{Severity::normal, Severity::elevated, Severity::high}));
    for (const Direction value : allTrendDirections) EXPECT_EQ(trendDirectionFromRaw(rawValue(value)), value);
    for (const Severity value : allTrendSeverities) EXPECT_EQ(trendSeverityFromRaw(rawValue(value)), value);
    EXPECT_FALSE(trendDirectionFromRaw("Rising").has_value());
    EXPECT_FALSE(trendSeverityFromRaw("").has_value());
}

}  // namespace
}  // namespace corvanta
