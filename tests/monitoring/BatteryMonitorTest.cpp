// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/BatteryMonitor.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "support/FakePlatform.h"

namespace corvanta {
namespace {

constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
constexpr auto largest = std::numeric_limits<std::int64_t>::max();

PowerSourceDescription battery(std::int64_t current, std::int64_t max = 100, bool isCharging = false) {
    return {.currentCapacity = current, .maxCapacity = max, .isCharging = isCharging};
}

class BatteryMonitorTest : public testing::Test {
  protected:
    BatteryDetails read() {
        monitor.invalidateCache();
        return monitor.getBatteryUsage(now++).value_or(BatteryDetails{.percentage = -1});
    }
    std::optional<std::int64_t> timeOf(bool isCharging, std::int64_t toFull, std::int64_t toEmpty) {
        power.sources = {battery(50, 100, isCharging)};
        power.sources[0].timeToFullCharge = toFull;
        power.sources[0].timeToEmpty = toEmpty;
        return read().timeRemaining;
    }
    std::optional<std::int64_t> healthOf(std::int64_t rawMax, std::int64_t design) {
        power.registry = BatteryRegistry{.rawMaxCapacity = rawMax, .designCapacity = design};
        return read().healthPercent;
    }

    test::FakePowerSourceReader power;
    BatteryMonitor monitor{power};
    double now = 100;
};

TEST_F(BatteryMonitorTest, givesAllThatTheSourceAndTheRegistryTell) {
    power.sources = {{.currentCapacity = 40,
                      .maxCapacity = 80,
                      .isCharging = false,
                      .timeToFullCharge = 7,
                      .timeToEmpty = 90,
                      .powerSourceState = "Battery Power"}};
    power.registry = BatteryRegistry{.cycleCount = 312, .rawMaxCapacity = 45, .designCapacity = 50};
    EXPECT_EQ(monitor.getBatteryUsage(0), (BatteryDetails{.percentage = 50,
                                                          .isCharging = false,
                                                          .isPluggedIn = false,
                                                          .timeRemaining = 90,
                                                          .cycleCount = 312,
                                                          .healthPercent = 90}));
}

TEST_F(BatteryMonitorTest, aMachineWithoutSourcesHasNoDetails) {
    EXPECT_EQ(monitor.getBatteryUsage(0), std::nullopt);
    PowerSourceReader none;
    EXPECT_EQ(BatteryMonitor(none).getBatteryUsage(0), std::nullopt);
}

TEST_F(BatteryMonitorTest, aSourceThatLacksARequiredValueIsSkipped) {
    for (const PowerSourceDescription& lacking : std::vector<PowerSourceDescription>{
             {},
             {.maxCapacity = 100, .isCharging = true},
             {.currentCapacity = 50, .isCharging = true},
             {.currentCapacity = 50, .maxCapacity = 100},
             battery(50, 0),
             battery(50, -100),
             battery(50, smallest),
         }) {
        power.sources = {lacking};
        EXPECT_EQ(BatteryMonitor(power).getBatteryUsage(0), std::nullopt);
        power.sources = {lacking, battery(70), battery(30)};
        EXPECT_EQ(read().percentage, 70);  // the first one that qualifies
    }
}

TEST_F(BatteryMonitorTest, aMaximumOfZeroIsSkippedAndOneOfOneIsNot) {
    power.sources = {battery(0, 0)};
    EXPECT_EQ(monitor.getBatteryUsage(0), std::nullopt);
    power.sources = {battery(1, 1)};
    EXPECT_EQ(read().percentage, 100);
}

TEST_F(BatteryMonitorTest, thePercentageIsTruncatedAndHeldBetweenZeroAndAHundred) {
    struct Row {
        std::int64_t current, max, percentage;
    };
    for (const Row& row : std::vector<Row>{
             {999, 1000, 99},  // 99.9
             {1, 3, 33},
             {2, 3, 66},
             {0, 100, 0},
             {100, 100, 100},
             {101, 100, 100},
             {250, 100, 100},
             {-1, 100, 0},
             {29, 100, 28},  // the quotient is a little below, in floating point
             {largest, 1, 100},
             {smallest, 1, 0},
             {largest, largest, 100},
             {1, largest, 0},
         }) {
        power.sources = {battery(row.current, row.max)};
        EXPECT_EQ(read().percentage, row.percentage) << row.current << " of " << row.max;
    }
}

TEST_F(BatteryMonitorTest, aTimeToEmptyCountsFromOneMinuteToFiveThousandNineHundredAndNinetyNine) {
    EXPECT_EQ(timeOf(false, 30, -1), std::nullopt);
    EXPECT_EQ(timeOf(false, 30, 0), std::nullopt);
    EXPECT_EQ(timeOf(false, 30, 1), 1);
    EXPECT_EQ(timeOf(false, 30, 5999), 5999);
    EXPECT_EQ(timeOf(false, 30, 6000), std::nullopt);
    EXPECT_EQ(timeOf(false, 30, largest), std::nullopt);
    EXPECT_EQ(timeOf(false, 30, smallest), std::nullopt);
}

TEST_F(BatteryMonitorTest, whileChargingTheTimeToFullCountsAndOtherwiseTheTimeToEmpty) {
    EXPECT_EQ(timeOf(true, 30, 90), 30);
    EXPECT_EQ(timeOf(false, 30, 90), 90);
    EXPECT_EQ(timeOf(true, -1, 90), std::nullopt);
    EXPECT_EQ(timeOf(false, 30, -1), std::nullopt);
}

TEST_F(BatteryMonitorTest, aTimeThatIsNotToldIsAbsent) {
    power.sources = {battery(50)};
    EXPECT_EQ(read().timeRemaining, std::nullopt);
}

TEST_F(BatteryMonitorTest, aHealthIsTruncatedAndHeldBetweenZeroAndAHundred) {
    power.sources = {battery(50)};
    EXPECT_EQ(healthOf(8509, 10000), 85);
    EXPECT_EQ(healthOf(60, 57), 100);  // above the design capacity
    EXPECT_EQ(healthOf(-1, 57), 0);
    EXPECT_EQ(healthOf(0, 57), 0);
    EXPECT_EQ(healthOf(57, 0), std::nullopt);
    EXPECT_EQ(healthOf(57, -57), std::nullopt);
    EXPECT_EQ(healthOf(largest, 1), 100);
    EXPECT_EQ(healthOf(smallest, largest), 0);
}

TEST_F(BatteryMonitorTest, withoutARegistryCycleCountAndHealthAreAbsent) {
    power.sources = {battery(50)};
    EXPECT_EQ(read(), (BatteryDetails{.percentage = 50}));
    power.registry = BatteryRegistry{};
    EXPECT_EQ(read(), (BatteryDetails{.percentage = 50}));
    power.registry = BatteryRegistry{.cycleCount = 5, .rawMaxCapacity = 40};
    EXPECT_EQ(read(), (BatteryDetails{.percentage = 50, .cycleCount = 5}));
    power.registry = BatteryRegistry{.designCapacity = 40};
    EXPECT_EQ(read(), (BatteryDetails{.percentage = 50}));
}

TEST_F(BatteryMonitorTest, aCycleCountIsHandedOverAsItIs) {
    power.sources = {battery(50)};
    for (const std::int64_t count : {smallest, std::int64_t{0}, largest}) {
        power.registry = BatteryRegistry{.cycleCount = count};
        EXPECT_EQ(read().cycleCount, count);
    }
}

TEST_F(BatteryMonitorTest, aChargedLaptopOnTheChargerIsPluggedInUnlessTheSourceDoesNotTell) {
    power.sources = {battery(100)};
    power.sources[0].powerSourceState = "AC Power";
    EXPECT_EQ(read(), (BatteryDetails{.percentage = 100, .isCharging = false, .isPluggedIn = true}));
    power.sources[0].powerSourceState.reset();
    EXPECT_EQ(read(), (BatteryDetails{.percentage = 100, .isCharging = false, .isPluggedIn = false}));
}

TEST_F(BatteryMonitorTest, thePowerSourceStateGoesBeforeTheCharging) {
    power.sources = {battery(50, 100, true)};
    EXPECT_TRUE(read().isPluggedIn);
    for (const char* state : {"Battery Power", "Off Line", "", "ac power", "AC Power "}) {
        power.sources[0].powerSourceState = state;
        EXPECT_FALSE(read().isPluggedIn) << state;
    }
}

TEST_F(BatteryMonitorTest, twoCallsInsideOneSecondReadOnceUnlessInvalidated) {
    power.sources = {battery(50)};
    monitor.getBatteryUsage(100);
    power.sources = {battery(40)};
    EXPECT_EQ(monitor.getBatteryUsage(100.999)->percentage, 50);
    EXPECT_EQ(power.readings, 1);
    monitor.invalidateCache();
    EXPECT_EQ(monitor.getBatteryUsage(100.999)->percentage, 40);
    EXPECT_EQ(power.readings, 2);
    monitor.getBatteryUsage(101.9);  // less than a second after that
    EXPECT_EQ(power.readings, 2);
    monitor.getBatteryUsage(101.999);
    EXPECT_EQ(power.readings, 3);
    monitor.getBatteryUsage(5);  // a clock that went back
    EXPECT_EQ(power.readings, 4);
}

TEST_F(BatteryMonitorTest, withoutABatteryTheGateHoldsAsWell) {
    EXPECT_EQ(monitor.getBatteryUsage(100), std::nullopt);
    EXPECT_EQ(monitor.getBatteryUsage(100.5), std::nullopt);
    EXPECT_EQ(power.readings, 1);
}

TEST_F(BatteryMonitorTest, aReadingThatFailsRepeatsTheLastGoodDetails) {
    power.sources = {battery(50)};
    power.registry = BatteryRegistry{.cycleCount = 7};
    const auto details = monitor.getBatteryUsage(100);
    power.sources = {battery(50, 0)};
    power.registry.reset();
    EXPECT_EQ(monitor.getBatteryUsage(101), details);
    monitor.invalidateCache();
    EXPECT_EQ(monitor.getBatteryUsage(101), details);
    EXPECT_EQ(power.readings, 3);
}

TEST_F(BatteryMonitorTest, readsAndInvalidatesFromSeveralThreads) {
    power.sources = {battery(50)};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        for (int i = 0; i < 1000; ++i) monitor.getBatteryUsage(i);
    });
    threads.emplace_back([&] {
        for (int i = 0; i < 1000; ++i) monitor.invalidateCache();
    });
    threads.emplace_back([&] {
        for (int i = 0; i < 1000; ++i) {
            const auto details = monitor.getBatteryUsage(i);
            EXPECT_EQ(details.value_or(BatteryDetails{.percentage = 50}).percentage, 50);
        }
    });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(read().percentage, 50);
}

}  // namespace
}  // namespace corvanta
