// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/BatteryAlertTracker.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <array>
#include <tuple>
#include <vector>

namespace corvanta {
namespace {

constexpr std::int64_t threshold = 20;
constexpr BatteryAlertDecision nothing{};
constexpr BatteryAlertDecision lowAlert{.shouldNotifyLowBattery = true, .dischargeMilestone = std::nullopt};

BatteryAlertDecision milestone(std::int64_t percentage) {
    return {.shouldNotifyLowBattery = false, .dischargeMilestone = percentage};
}

BatteryAlertDecision onBattery(BatteryAlertTracker& tracker, std::int64_t percentage) {
    return tracker.observe(percentage, false, threshold, true);
}
BatteryAlertDecision pluggedIn(BatteryAlertTracker& tracker, std::int64_t percentage) {
    return tracker.observe(percentage, true, threshold, true);
}

TEST(BatteryAlertTracker, aFallTellsTheLowestMilestoneThatItCrossed) {
    struct Row {
        std::int64_t from;
        std::int64_t to;
        std::optional<std::int64_t> milestone;
    };
    constexpr std::array rows = {
        Row{91, 89, 90},  Row{90, 89, {}},  Row{90, 90, {}},   Row{91, 90, 90},   Row{81, 80, 80},
        Row{80, 79, {}},  Row{71, 49, 50},  Row{100, 99, {}},  Row{100, 90, 90},  Row{100, 0, 10},
        Row{120, 99, {}}, Row{120, 90, 90}, Row{100, 100, {}}, Row{21, 20, 20},   Row{21, 11, 20},
        Row{21, 10, 10},  Row{20, 11, {}},  Row{12, 9, 10},    Row{11, 10, 10},   Row{10, 9, {}},
        Row{9, 0, {}},    Row{11, -5, 10},  Row{10, -5, {}},   Row{-5, -10, {}},  Row{0, 0, {}},
        Row{30, 29, {}},  Row{31, 29, 30},  Row{49, 51, {}},   Row{101, 100, {}},
    };
    for (const Row& row : rows) {
        BatteryAlertTracker tracker;
        tracker.observe(row.from, false, threshold, false);
        EXPECT_EQ(tracker.observe(row.to, false, threshold, false).dischargeMilestone, row.milestone)
            << row.from << " to " << row.to;
    }
}

TEST(BatteryAlertTracker, aLongDischargeTellsEachMilestoneOnce) {
    BatteryAlertTracker tracker;
    std::vector<std::int64_t> told;
    for (std::int64_t percentage = 100; percentage >= 0; --percentage) {
        if (const auto m = tracker.observe(percentage, false, threshold, false).dischargeMilestone)
            told.push_back(*m);
    }
    EXPECT_EQ(told, (std::vector<std::int64_t>{90, 80, 70, 60, 50, 40, 30, 20, 10}));
}

TEST(BatteryAlertTracker, aFallFromTwelveToNineIsAMilestoneWithTheLowAlertDecidedApart) {
    BatteryAlertTracker warned;
    EXPECT_EQ(onBattery(warned, 12), lowAlert);
    EXPECT_EQ(onBattery(warned, 9), milestone(10));

    BatteryAlertTracker unwarned;
    unwarned.observe(12, false, 10, true);
    EXPECT_EQ(unwarned.observe(9, false, 10, true), (BatteryAlertDecision{true, 10}));
}

TEST(BatteryAlertTracker, theLowAlertComesOnceADischarge) {
    BatteryAlertTracker tracker;
    EXPECT_EQ(onBattery(tracker, 21), nothing);
    EXPECT_EQ(onBattery(tracker, 20), (BatteryAlertDecision{true, 20}));
    EXPECT_EQ(onBattery(tracker, 19), nothing);
    EXPECT_EQ(pluggedIn(tracker, 19), nothing);
    EXPECT_EQ(onBattery(tracker, 19), lowAlert);
    EXPECT_EQ(onBattery(tracker, 19), nothing);
}

TEST(BatteryAlertTracker, onExternalPowerNothingIsEverTold) {
    BatteryAlertTracker tracker;
    EXPECT_EQ(pluggedIn(tracker, 15), nothing);
    EXPECT_EQ(pluggedIn(tracker, 8), nothing);
    EXPECT_EQ(pluggedIn(tracker, 0), nothing);
}

TEST(BatteryAlertTracker, aLaunchOnLowBatteryAlertsAtOnceAndTellsNoMilestone) {
    BatteryAlertTracker tracker;
    EXPECT_EQ(onBattery(tracker, 10), lowAlert);
}

TEST(BatteryAlertTracker, neitherARiseNorAnotherThresholdRearmsTheAlert) {
    BatteryAlertTracker tracker;
    EXPECT_EQ(onBattery(tracker, 20), lowAlert);
    EXPECT_EQ(onBattery(tracker, 35), nothing);
    EXPECT_EQ(onBattery(tracker, 19), milestone(20));
    EXPECT_EQ(tracker.observe(18, false, 50, true), nothing);
}

TEST(BatteryAlertTracker, aThresholdThatIsRaisedOverTheChargeAlertsWithoutAFall) {
    BatteryAlertTracker tracker;
    EXPECT_EQ(onBattery(tracker, 30), nothing);
    EXPECT_EQ(tracker.observe(30, false, 30, true), lowAlert);
}

TEST(BatteryAlertTracker, withTheLowAlertOffMilestonesStillCome) {
    BatteryAlertTracker tracker;
    EXPECT_EQ(tracker.observe(21, false, threshold, false), nothing);
    EXPECT_EQ(tracker.observe(20, false, threshold, false), milestone(20));
    EXPECT_EQ(tracker.observe(20, false, threshold, true), lowAlert);  // nothing was used up meanwhile
}

TEST(BatteryAlertTracker, aPlugChangeGivesNoMilestoneAndTheNextFallIsMeasuredFromItsCharge) {
    BatteryAlertTracker unplugged;
    pluggedIn(unplugged, 52);
    EXPECT_EQ(onBattery(unplugged, 48), nothing);
    EXPECT_EQ(onBattery(unplugged, 47), nothing);
    EXPECT_EQ(onBattery(unplugged, 40), milestone(40));

    BatteryAlertTracker plugged;
    onBattery(plugged, 52);
    EXPECT_EQ(pluggedIn(plugged, 48), nothing);
    EXPECT_EQ(onBattery(plugged, 48), nothing);
}

TEST(BatteryAlertTracker, aRiseOnBatteryTellsNothingAndTheNextFallIsMeasuredFromIt) {
    BatteryAlertTracker tracker;
    onBattery(tracker, 48);
    EXPECT_EQ(onBattery(tracker, 51), nothing);
    EXPECT_EQ(onBattery(tracker, 50), milestone(50));
}

TEST(BatteryAlertTracker, theChargeThatIsComparedWithTheThresholdIsClamped) {
    BatteryAlertTracker full;
    EXPECT_EQ(full.observe(120, false, 100, true), lowAlert);
    BatteryAlertTracker empty;
    EXPECT_EQ(empty.observe(-5, false, -1, true), nothing);
    EXPECT_EQ(empty.observe(-5, false, 0, true), lowAlert);
}

/// The rules one by one, as they are told.
struct SlowTracker {
    bool sent = false;
    std::optional<std::int64_t> lastPercentage;
    std::optional<bool> lastPluggedIn;

    BatteryAlertDecision observe(std::int64_t percentage, bool isPluggedIn, std::int64_t lowThreshold,
                                 bool lowAlertEnabled) {
        const std::int64_t clamped = percentage < 0 ? 0 : percentage > 100 ? 100 : percentage;
        BatteryAlertDecision result;
        const bool isFirst = !lastPercentage || !lastPluggedIn;
        const bool isPlugChange = !isFirst && isPluggedIn != *lastPluggedIn;
        const bool staysPluggedIn = !isFirst && !isPlugChange && isPluggedIn;
        if ((isPlugChange && isPluggedIn) || staysPluggedIn) sent = false;
        if (!isFirst && !isPlugChange && !isPluggedIn && clamped < *lastPercentage) {
            for (const std::int64_t candidate : {100, 90, 80, 70, 60, 50, 40, 30, 20}) {
                if (candidate >= clamped && candidate < *lastPercentage)
                    result.dischargeMilestone = candidate;
            }
            if (percentage <= 10 && *lastPercentage > 10) result.dischargeMilestone = 10;
        }
        if (!staysPluggedIn && lowAlertEnabled && !isPluggedIn && clamped <= lowThreshold && !sent) {
            sent = true;
            result.shouldNotifyLowBattery = true;
        }
        lastPercentage = clamped;
        lastPluggedIn = isPluggedIn;
        return result;
    }
};

TEST(BatteryAlertTracker, agreesWithTheRulesTakenOneByOne) {
    EXPECT_TRUE(rc::check("any stream of samples", [] {
        BatteryAlertTracker tracker;
        SlowTracker slow;
        using Sample = std::tuple<std::int64_t, bool, std::int64_t, bool>;
        const auto samples = *rc::gen::container<std::vector<Sample>>(rc::gen::tuple(
            rc::gen::inRange<std::int64_t>(-20, 121), rc::gen::weightedElement<bool>({{4, false}, {1, true}}),
            rc::gen::element<std::int64_t>(0, 10, 20, 50, 100), rc::gen::arbitrary<bool>()));
        for (const auto& [percentage, isPluggedIn, lowThreshold, enabled] : samples) {
            RC_ASSERT(tracker.observe(percentage, isPluggedIn, lowThreshold, enabled) ==
                      slow.observe(percentage, isPluggedIn, lowThreshold, enabled));
        }
    }));
}

}  // namespace
}  // namespace corvanta
