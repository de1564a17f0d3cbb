// SPDX-License-Identifier: Apache-2.0
#include "alerts/NotificationManager.h"

#include <QThread>
#include <cstdlib>

#include "core/Log.h"

namespace corvanta {
namespace {

void logAuthorization(const NotificationAuthorization& answer) {
    if (answer.error) {
        logLine("Notification authorisation error: " + *answer.error);
    } else {
        logLine(answer.isGranted ? "Notification authorisation granted"
                                 : "Notification authorisation denied");
    }
}

}  // namespace

NotificationManager::NotificationManager(NotificationService& centre, const AppSettings& settings,
                                         const Clock& clock)
    : centre_(centre), settings_(settings), clock_(clock) {}

void NotificationManager::requestAuthorization() {
    Q_ASSERT(thread() == QThread::currentThread());
    if (!settings_.notificationsEnabled()) return;
    if (!clicks_) {
        clicks_ = centre_.subscribe([this](const std::string& identifier) {
            if (leadsToWeeklyReport(identifier)) {
                Q_EMIT weeklyReportClicked();
            } else {
                Q_EMIT alertClicked();
            }
        });
    }
    centre_.requestAuthorization(logAuthorization);
}

void NotificationManager::notificationsPreferenceDidChange(bool enabled) {
    Q_ASSERT(thread() == QThread::currentThread());
    if (enabled) {
        requestAuthorization();
    } else {
        centre_.removeAllPending();
    }
}

void NotificationManager::notifyMemoryPressure(MemoryPressureLevel level) {
    const bool isWanted = (level == MemoryPressureLevel::critical && settings_.notifyOnCriticalPressure()) ||
                          (level == MemoryPressureLevel::warning && settings_.notifyOnWarningPressure());
    if (isWanted) notify(notification::MemoryPressure{level});
}

void NotificationManager::notifyThermalThrottling(const std::string& state) {
    notify(notification::ThermalThrottling{state});
}

void NotificationManager::notifyLowBluetoothBattery(const std::string& deviceName,
                                                    std::int64_t batteryLevel) {
    notify(notification::LowBluetoothBattery{deviceName, batteryLevel});
}

void NotificationManager::notifyBatteryDischargeMilestone(std::int64_t percentage) {
    notify(notification::BatteryDischargeMilestone{percentage});
}

void NotificationManager::notifyProactiveAlert(const std::string& processName, const std::string& reason,
                                               const std::string& summary) {
    notify(notification::ProactiveAlert{processName, reason, summary});
}

void NotificationManager::notifyAnomaly(const std::string& metric, const std::string& detail) {
    notify(notification::AnomalyFound{metric, detail});
}

void NotificationManager::notifyLowBattery(std::int64_t percentage) {
    notify(notification::LowBattery{percentage});
}

void NotificationManager::notifyBatteryCycleIncreased(std::int64_t /*from*/, std::int64_t to,
                                                      std::optional<std::int64_t> health) {
    notify(notification::BatteryCycleIncreased{to, health});
}

void NotificationManager::notifyWeeklyReport(const std::string& headline, std::int64_t score) {
    if (!settings_.notificationsEnabled() || !settings_.weeklyReportEnabled()) return;
    const notification::WeeklyReport report{headline, score};
    deliver(report.content(), report.key(), "Failed to deliver weekly report notification: ");
}

template <class Notification>
void NotificationManager::notify(const Notification& notification) {
    const std::string type = notification.key();
    if (!reserveNotification(type, Notification::category)) return;
    deliver(notification.content(), type, "Failed to deliver notification: ");
}

bool NotificationManager::isSwitchedOn(NotificationCategory category) const {
    switch (category) {
        case NotificationCategory::memoryPressure:
            return true;  // each of its levels has a switch, which was asked before
        case NotificationCategory::thermal:
            return settings_.notifyOnThermalPressure();
        case NotificationCategory::bluetoothBattery:
            return settings_.notifyOnLowBluetoothBattery();
        case NotificationCategory::lowBattery:
            return settings_.notifyOnLowBattery();
        case NotificationCategory::batteryMilestone:
            return settings_.notifyOnBatteryMilestones();
        case NotificationCategory::proactive:
            return settings_.notifyOnProactiveAlerts();
        case NotificationCategory::anomaly:
            return settings_.notifyOnAnomalies();
    }
    std::abort();
}

bool NotificationManager::reserveNotification(const std::string& type, NotificationCategory category) {
    Q_ASSERT(thread() == QThread::currentThread());
    if (!settings_.notificationsEnabled()) return false;
    if (!isSwitchedOn(category)) return false;
    if (isSnoozable(category) && settings_.performanceAlertsAreSnoozed()) return false;
    return gate_.reserve(type, settings_.notifyCooldownMinutes(), clock_.now());
}

void NotificationManager::deliver(const NotificationContent& content, const std::string& type,
                                  const std::string& complaint) {
    Q_ASSERT(thread() == QThread::currentThread());
    centre_.deliver({.identifier = notificationIdentifier(type),
                     .title = content.title,
                     .body = content.body,
                     .interruptionLevel = content.level},
                    [complaint](const std::optional<std::string>& error) {
                        if (error) logLine(complaint + *error);
                    });
}

}  // namespace corvanta
