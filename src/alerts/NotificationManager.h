// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "alerts/rules/NotificationGate.h"
#include "alerts/rules/NotificationWords.h"
#include "core/Clock.h"
#include "platform/NotificationService.h"
#include "settings/AppSettings.h"

namespace corvanta {

/// The only door to the desktop's notifications: it words each one, and lets it pass if the user's settings,
/// the snooze and the cooldown of its key do.
///
/// Owned by main() for the program's life. Main thread only. What does not pass is silent. A delivery that
/// fails logs one line; it isn't tried again, and its key cools down all the same.
class NotificationManager final : public QObject {
    Q_OBJECT

  public:
    /// All outlive the manager.
    NotificationManager(NotificationService& centre, const AppSettings& settings, const Clock& clock);

    /// Nothing while notifications are off. From the first time on, clicks are heard. The answer is logged.
    void requestAuthorization();
    /// To be called when the user has switched notifications on or off. What is shown stays.
    void notificationsPreferenceDidChange(bool enabled);

    /// A level other than `warning` and `critical` tells nothing.
    void notifyMemoryPressure(MemoryPressureLevel level);
    void notifyThermalThrottling(const std::string& state);
    void notifyLowBluetoothBattery(const std::string& deviceName, std::int64_t batteryLevel);
    void notifyBatteryDischargeMilestone(std::int64_t percentage);
    /// `processName` may hold the count of its instances; names with another count cool down apart.
    void notifyProactiveAlert(const std::string& processName, const std::string& reason,
                              const std::string& summary);
    /// `metric` is its display name.
    void notifyAnomaly(const std::string& metric, const std::string& detail);
    void notifyLowBattery(std::int64_t percentage);
    void notifyBatteryCycleIncreased(std::int64_t from, std::int64_t to, std::optional<std::int64_t> health);
    /// Asks for the two settings alone: its own schedule is what limits it.
    void notifyWeeklyReport(const std::string& headline, std::int64_t score);

  Q_SIGNALS:
    /// The user has clicked on the notification of a weekly report.
    void weeklyReportClicked();
    /// The user has clicked on any other.
    void alertClicked();

  private:
    template <class Notification>
    void notify(const Notification& notification);
    bool isSwitchedOn(NotificationCategory category) const;
    bool reserveNotification(const std::string& type, NotificationCategory category);
    void deliver(const NotificationContent& content, const std::string& type, const std::string& complaint);

    NotificationService& centre_;
    const AppSettings& settings_;
    const Clock& clock_;

    NotificationGate gate_;
    std::unique_ptr<Subscription> clicks_;
};

}  // namespace corvanta
