// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>

namespace corvanta {

/// What a notification is about, as far as the user can switch it off.
enum class NotificationCategory {
    memoryPressure,
    thermal,
    bluetoothBattery,
    lowBattery,
    batteryMilestone,
    proactive,
    anomaly,
};

inline constexpr std::array allNotificationCategories = {
    NotificationCategory::memoryPressure,   NotificationCategory::thermal,
    NotificationCategory::bluetoothBattery, NotificationCategory::lowBattery,
    NotificationCategory::batteryMilestone, NotificationCategory::proactive,
    NotificationCategory::anomaly};

/// Whether a snooze of the performance alerts silences it.
constexpr bool isSnoozable(NotificationCategory category) {
    switch (category) {
        case NotificationCategory::memoryPressure:
        case NotificationCategory::thermal:
        case NotificationCategory::proactive:
        case NotificationCategory::anomaly:
            return true;
        case NotificationCategory::bluetoothBattery:
        case NotificationCategory::lowBattery:
        case NotificationCategory::batteryMilestone:
            return false;
    }
    std::abort();
}

}  // namespace corvanta
