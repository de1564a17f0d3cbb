// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/NotificationWords.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace corvanta {
namespace {

using namespace notification;
using Category = NotificationCategory;
constexpr auto active = InterruptionLevel::active;
constexpr auto timeSensitive = InterruptionLevel::timeSensitive;

struct Expected {
    std::string key;
    std::string title;
    std::string body;
    InterruptionLevel level;
};

template <class Notification>
void expectWords(const Notification& notification, const Expected& expected) {
    EXPECT_EQ(notification.key(), expected.key);
    EXPECT_EQ(notification.content().title, expected.title);
    EXPECT_EQ(notification.content().body, expected.body);
    EXPECT_EQ(notification.content().level, expected.level) << expected.key;
}

TEST(NotificationWords, memoryPressure) {
    expectWords(MemoryPressure{MemoryPressureLevel::critical},
                {"memory_pressure_4", "Memory Pressure: Critical",
                 "macOS reports critical memory pressure. Close unused applications to restore performance.",
                 timeSensitive});
    expectWords(
        MemoryPressure{MemoryPressureLevel::warning},
        {"memory_pressure_2", "Memory Pressure: Warning",
         "macOS reports elevated memory pressure. Consider closing idle applications.", timeSensitive});
}

TEST(NotificationWords, thermalThrottling) {
    for (const std::string state : {"Serious", "Critical"}) {
        expectWords(ThermalThrottling{state},
                    {"thermal_throttling_" + state, "Thermal Throttling: " + state,
                     "Your Mac is running hot and may reduce performance to cool down.", timeSensitive});
    }
}

TEST(NotificationWords, lowBluetoothBattery) {
    expectWords(LowBluetoothBattery{"Desk  Mouse ÄB", 9},
                {"bluetooth_low_desk__mouse_Äb", "Bluetooth Peripheral Battery Low",
                 "Desk  Mouse ÄB battery is at 9%. Charge it soon to avoid interruption.", active});
}

TEST(NotificationWords, proactiveAlert) {
    expectWords(
        ProactiveAlert{"Web Content (×3)", "CPU", "It did."},
        {"proactive_CPU_web content (×3)", "High CPU Alert: Web Content (×3)", "It did.", timeSensitive});
    expectWords(ProactiveAlert{"Editor", "RAM", "It did."},
                {"proactive_RAM_editor", "High RAM Alert: Editor", "It did.", timeSensitive});
}

TEST(NotificationWords, anomalyFound) {
    expectWords(AnomalyFound{"Memory pressure", "It is."},
                {"anomaly_memory_pressure", "Unusual Memory pressure Activity", "It is.", timeSensitive});
    expectWords(AnomalyFound{"CPU", "It is."},
                {"anomaly_cpu", "Unusual CPU Activity", "It is.", timeSensitive});
}

TEST(NotificationWords, lowBatteryHasOneKeyForAllCharges) {
    for (const std::int64_t percentage : {20, 4}) {
        expectWords(LowBattery{percentage}, {"battery_low", "Battery Low",
                                             "Battery is at " + std::to_string(percentage) +
                                                 "%. Connect to power to avoid interruption.",
                                             active});
    }
}

TEST(NotificationWords, batteryDischargeMilestones) {
    struct Row {
        std::int64_t percentage;
        std::string title;
        std::string body;
    };
    const std::vector<Row> rows = {
        {100, "Battery Update", "Your Mac has discharged to 100%."},
        {90, "Battery Update", "Your Mac has discharged to 90%."},
        {80, "Battery Update", "Your Mac has discharged to 80%."},
        {70, "Battery Update", "Your Mac has discharged to 70%."},
        {60, "Battery Update", "Your Mac has discharged to 60%."},
        {51, "Battery Update", "Your Mac has discharged to 51%."},
        {50, "Battery Running Low", "Your Mac has dropped to 50%. Consider plugging in soon."},
        {40, "Battery Running Low", "Your Mac has dropped to 40%. Consider plugging in soon."},
        {30, "Battery Running Low", "Your Mac has dropped to 30%. Consider plugging in soon."},
        {21, "Battery Running Low", "Your Mac has dropped to 21%. Consider plugging in soon."},
        {20, "Battery Critically Low", "Your Mac has dropped to 20%. Plug in soon to avoid shutdown."},
        {10, "Battery Critically Low", "Your Mac has dropped to 10%. Plug in soon to avoid shutdown."},
    };
    for (const Row& row : rows) {
        expectWords(BatteryDischargeMilestone{row.percentage},
                    {"battery_discharging_" + std::to_string(row.percentage), row.title, row.body, active});
    }
}

TEST(NotificationWords, batteryCycleIncreased) {
    struct Row {
        std::int64_t to;
        std::optional<std::int64_t> health;
        std::string title;
        std::string body;
    };
    const std::vector<Row> rows = {
        {213,
         {},
         "Battery Cycle Increased 🔋",
         "Cycle count is now 213. Keep your Mac plugged in when near an outlet to reduce wear."},
        {1200,
         {},
         "Battery Cycle Increased 🔋",
         "Cycle count is now 1200. Keep your Mac plugged in when near an outlet to reduce wear."},
        {1200, 70, "Battery Health Warning ⚠️",
         "Cycle count is 1200. Health has dropped to 70%. Consider servicing your battery."},
        {300, 79, "Battery Health Warning ⚠️",
         "Cycle count is 300. Health has dropped to 79%. Consider servicing your battery."},
        {1000, 80, "High Cycle Count 🔋",
         "Cycle count is very high (1000). Battery wear is significant. Health is 80%."},
        {999, 80, "Battery Cycle Increased 🔋",
         "Cycle count is now 999. Health is at 80%. Keep your Mac plugged in when near an outlet to reduce "
         "wear."},
    };
    for (const Row& row : rows) {
        expectWords(BatteryCycleIncreased{row.to, row.health},
                    {"battery_cycle_up_" + std::to_string(row.to), row.title, row.body, active});
    }
}

TEST(NotificationWords, weeklyReport) {
    expectWords(WeeklyReport{"A calm week.", 93},
                {"weekly_report", "Your Weekly Mac Health Report",
                 "A calm week. Health score: 93/100. Tap to see the details.", active});
}

TEST(NotificationWords, identifiersAreTheKeysWithinTheProgramsName) {
    EXPECT_EQ(notificationIdentifier(LowBattery{5}.key()), "com.corvanta.battery_low");
    EXPECT_EQ(notificationIdentifier(WeeklyReport{}.key()), "com.corvanta.weekly_report");
}

TEST(NotificationWords, anIdentifierThatContainsTheReportsKeyLeadsToIt) {
    EXPECT_TRUE(leadsToWeeklyReport("com.corvanta.weekly_report"));
    EXPECT_TRUE(leadsToWeeklyReport("com.corvanta.weekly_report_2"));
    EXPECT_FALSE(leadsToWeeklyReport("com.corvanta.battery_low"));
    EXPECT_FALSE(leadsToWeeklyReport(""));
}

TEST(NotificationWords, eachNotificationHasTheCategoryThatSwitchesItOff) {
    EXPECT_EQ(MemoryPressure::category, Category::memoryPressure);
    EXPECT_EQ(ThermalThrottling::category, Category::thermal);
    EXPECT_EQ(LowBluetoothBattery::category, Category::bluetoothBattery);
    EXPECT_EQ(BatteryDischargeMilestone::category, Category::batteryMilestone);
    EXPECT_EQ(ProactiveAlert::category, Category::proactive);
    EXPECT_EQ(AnomalyFound::category, Category::anomaly);
    EXPECT_EQ(LowBattery::category, Category::lowBattery);
    EXPECT_EQ(BatteryCycleIncreased::category, Category::batteryMilestone);
}

TEST(NotificationCategory, aSnoozeSilencesPerformanceAndNoBattery) {
    const std::vector<std::pair<Category, bool>> rows = {
        {Category::memoryPressure, true},    {Category::thermal, true},
        {Category::bluetoothBattery, false}, {Category::lowBattery, false},
        {Category::batteryMilestone, false}, {Category::proactive, true},
        {Category::anomaly, true},
    };
    ASSERT_EQ(allNotificationCategories.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(allNotificationCategories.at(i), rows.at(i).first);
        EXPECT_EQ(isSnoozable(rows.at(i).first), rows.at(i).second) << i;
    }
}

}  // namespace
}  // namespace corvanta
