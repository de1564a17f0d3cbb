// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/BatteryWearAlert.h"

#include <gtest/gtest.h>

#include <vector>

namespace corvanta {
namespace {

std::string signature(std::optional<std::int64_t> cycles, std::optional<std::int64_t> health) {
    const auto alert = batteryWearAlert(cycles, health);
    return alert ? alert->signature : "none";
}

TEST(BatteryWearAlert, manyCyclesCallForOne) {
    EXPECT_EQ(
        batteryWearAlert(812, 91),
        (BatteryWearAlert{.signature = "cycles:16",
                          .message = "Cycle count is high at 812. Consider having the battery inspected."}));
}

TEST(BatteryWearAlert, littleHealthCallsForOne) {
    EXPECT_EQ(
        batteryWearAlert(799, 79),
        (BatteryWearAlert{
            .signature = "health:15",
            .message = "Maximum capacity has declined to 79%. Consider having the battery inspected."}));
}

TEST(BatteryWearAlert, hasOneTitleAndIcon) {
    EXPECT_EQ(BatteryWearAlert::title, "Battery needs attention");
    EXPECT_EQ(BatteryWearAlert::systemImage, "battery.100.exclamationmark");
}

TEST(BatteryWearAlert, comesBackOnceInFiftyCyclesOrFivePointsOfHealth) {
    struct Row {
        std::optional<std::int64_t> cycles;
        std::optional<std::int64_t> health;
        std::string signature;
    };
    const std::vector<Row> rows = {
        {{}, {}, "none"},       {799, {}, "none"},      {800, {}, "cycles:16"}, {849, {}, "cycles:16"},
        {850, {}, "cycles:17"}, {900, 60, "cycles:18"}, {799, 80, "none"},      {{}, 80, "none"},
        {{}, 79, "health:15"},  {0, 75, "health:15"},   {799, 74, "health:14"}, {{}, 4, "health:0"},
        {{}, 0, "health:0"},    {0, 100, "none"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(signature(row.cycles, row.health), row.signature)
            << row.cycles.value_or(-1) << " " << row.health.value_or(-1);
    }
}

}  // namespace
}  // namespace corvanta
