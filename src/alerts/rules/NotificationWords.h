// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "alerts/rules/NotificationCategory.h"
#include "core/InterruptionLevel.h"
#include "core/MemoryPressureLevel.h"

namespace corvanta {

/// What a notification shows. Names stand in it as they were recorded, so they may hold markup, line ends
/// and controls.
struct NotificationContent {
    std::string title;
    std::string body;
    InterruptionLevel level = InterruptionLevel::active;

    bool operator==(const NotificationContent&) const = default;
};

/// The identifier of a notification to the desktop, where a later one of the same key takes its place.
std::string notificationIdentifier(std::string_view key);

/// Whether a click on the notification of that identifier leads to the weekly report.
bool leadsToWeeklyReport(std::string_view identifier);

/// One record for each notification that there is: `key()` is what cools down, `category` what switches it
/// off, `content()` the finished words. Values; pure functions.
namespace notification {

/// `warning` or `critical`; of another level there is nothing to tell, and it is worded as `warning`.
struct MemoryPressure {
    static constexpr auto category = NotificationCategory::memoryPressure;
    MemoryPressureLevel level = MemoryPressureLevel::warning;

    std::string key() const;
    NotificationContent content() const;
};

struct ThermalThrottling {
    static constexpr auto category = NotificationCategory::thermal;
    std::string state;

    std::string key() const;
    NotificationContent content() const;
};

struct LowBluetoothBattery {
    static constexpr auto category = NotificationCategory::bluetoothBattery;
    std::string deviceName;
    std::int64_t batteryLevel = 0;  ///< percent

    std::string key() const;
    NotificationContent content() const;
};

struct BatteryDischargeMilestone {
    static constexpr auto category = NotificationCategory::batteryMilestone;
    std::int64_t percentage = 0;

    std::string key() const;
    NotificationContent content() const;
};

struct ProactiveAlert {
    static constexpr auto category = NotificationCategory::proactive;
    std::string processName;  ///< with the count of its instances, if it has several
    std::string reason;
    std::string summary;

    std::string key() const;
    NotificationContent content() const;
};

struct AnomalyFound {
    static constexpr auto category = NotificationCategory::anomaly;
    std::string metric;  ///< as it is displayed
    std::string detail;

    std::string key() const;
    NotificationContent content() const;
};

struct LowBattery {
    static constexpr auto category = NotificationCategory::lowBattery;
    std::int64_t percentage = 0;

    std::string key() const;
    NotificationContent content() const;
};

struct BatteryCycleIncreased {
    static constexpr auto category = NotificationCategory::batteryMilestone;
    std::int64_t to = 0;
    std::optional<std::int64_t> health = std::nullopt;  ///< percent

    std::string key() const;
    NotificationContent content() const;
};

/// It has no category, as the report's own schedule is what limits it.
struct WeeklyReport {
    std::string headline;
    std::int64_t score = 0;

    std::string key() const;
    NotificationContent content() const;
};

}  // namespace notification
}  // namespace corvanta
