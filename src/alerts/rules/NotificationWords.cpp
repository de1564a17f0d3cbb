// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/NotificationWords.h"

#include <algorithm>
#include <utility>

#include "core/AsciiCase.h"
#include "core/NumberText.h"

namespace corvanta {
namespace {

constexpr std::string_view weeklyReportKey = "weekly_report";

std::string joinedLowerCase(std::string name) {
    std::replace(name.begin(), name.end(), ' ', '_');
    return asciiLowerCase(std::move(name));
}

}  // namespace

std::string notificationIdentifier(std::string_view key) {
    return std::string("com.corvanta.").append(key);
}

bool leadsToWeeklyReport(std::string_view identifier) {
    return identifier.find(weeklyReportKey) != std::string_view::npos;
}

namespace notification {

std::string MemoryPressure::key() const {
    return "memory_pressure_" + integerText(rawValue(level));
}

NotificationContent MemoryPressure::content() const {
    return {
        .title = "Memory Pressure: " + std::string(label(level)),
        .body =
            level == MemoryPressureLevel::critical
                ? "macOS reports critical memory pressure. Close unused applications to restore performance."
                : "macOS reports elevated memory pressure. Consider closing idle applications.",
        .level = InterruptionLevel::timeSensitive};
}

std::string ThermalThrottling::key() const {
    return "thermal_throttling_" + state;
}

NotificationContent ThermalThrottling::content() const {
    return {.title = "Thermal Throttling: " + state,
            .body = "Your Mac is running hot and may reduce performance to cool down.",
            .level = InterruptionLevel::timeSensitive};
}

std::string LowBluetoothBattery::key() const {
    return "bluetooth_low_" + joinedLowerCase(deviceName);
}

NotificationContent LowBluetoothBattery::content() const {
    return {.title = "Bluetooth Peripheral Battery Low",
            .body = deviceName + " battery is at " + integerText(batteryLevel) +
                    "%. Charge it soon to avoid interruption."};
}

std::string BatteryDischargeMilestone::key() const {
    return "battery_discharging_" + integerText(percentage);
}

NotificationContent BatteryDischargeMilestone::content() const {
    const std::string charge = integerText(percentage) + "%";
    if (percentage < 21) {
        return {.title = "Battery Critically Low",
                .body = "Your Mac has dropped to " + charge + ". Plug in soon to avoid shutdown."};
    }
    if (percentage <= 50) {
        return {.title = "Battery Running Low",
                .body = "Your Mac has dropped to " + charge + ". Consider plugging in soon."};
    }
    return {.title = "Battery Update", .body = "Your Mac has discharged to " + charge + "."};
}

std::string ProactiveAlert::key() const {
    return "proactive_" + reason + "_" + asciiLowerCase(processName);
}

NotificationContent ProactiveAlert::content() const {
    return {.title = "High " + reason + " Alert: " + processName,
            .body = summary,
            .level = InterruptionLevel::timeSensitive};
}

std::string AnomalyFound::key() const {
    return "anomaly_" + joinedLowerCase(metric);
}

NotificationContent AnomalyFound::content() const {
    return {.title = "Unusual " + metric + " Activity",
            .body = detail,
            .level = InterruptionLevel::timeSensitive};
}

std::string LowBattery::key() const {
    return "battery_low";
}

NotificationContent LowBattery::content() const {
    return {
        .title = "Battery Low",
        .body = "Battery is at " + integerText(percentage) + "%. Connect to power to avoid interruption."};
}

std::string BatteryCycleIncreased::key() const {
    return "battery_cycle_up_" + integerText(to);
}

NotificationContent BatteryCycleIncreased::content() const {
    const std::string count = integerText(to);
    const std::string healthText = health ? integerText(*health) + "%" : "";
    if (health && *health < 80) {
        return {.title = "Battery Health Warning ⚠️",
                .body = "Cycle count is " + count + ". Health has dropped to " + healthText +
                        ". Consider servicing your battery."};
    }
    if (health && to >= 1000) {
        return {.title = "High Cycle Count 🔋",
                .body = "Cycle count is very high (" + count + "). Battery wear is significant. Health is " +
                        healthText + "."};
    }
    return {.title = "Battery Cycle Increased 🔋",
            .body = "Cycle count is now " + count + "." +
                    (health ? " Health is at " + healthText + "." : "") +
                    " Keep your Mac plugged in when near an outlet to reduce wear."};
}

std::string WeeklyReport::key() const {
    return std::string(weeklyReportKey);
}

NotificationContent WeeklyReport::content() const {
    return {.title = "Your Weekly Mac Health Report",
            .body = headline + " Health score: " + integerText(score) + "/100. Tap to see the details."};
}

}  // namespace notification
}  // namespace corvanta
