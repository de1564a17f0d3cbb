// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMenu>
#include <QObject>
#include <QTimer>
#include <memory>
#include <optional>

#include "alerts/NotificationManager.h"
#include "alerts/SmartAlertMonitor.h"
#include "monitoring/BluetoothMonitor.h"
#include "monitoring/PublishSink.h"
#include "monitoring/SystemMonitor.h"
#include "platform/Platform.h"
#include "settings/AppSettings.h"
#include "shell/AlertMenu.h"
#include "shell/BluetoothNotifications.h"
#include "shell/StatusItem.h"
#include "storage/DatabaseManager.h"

namespace corvanta {

/// The program between launch and quit: owns the monitors, the status item and its menu.
///
/// Made in main() and lives until the event loop has ended. Main thread only. The monitor, and with it the
/// sampling, starts with the delegate, ahead of the launch; peripherals are looked for from the launch on.
class AppDelegate final : public QObject {
    Q_OBJECT

  public:
    AppDelegate(const Platform& platform, AppSettings& settings, DatabaseManager& database,
                NotificationManager& notifications, SmartAlertMonitor& alerts, PublishSink& sink,
                std::unique_ptr<StatusItem> statusItem);

    /// Prunes the store, now and once a day, sees to the weekly report, and brings the status item up.
    void applicationDidFinishLaunching();

    /// Announces a weekly report if one is due.
    void checkWeeklyReport();

    /// The user wants to see the program: by a click, or by starting it once more.
    void activate();
    /// The user wants to see what a notification was about: the alert, if there still is one.
    void showAlert();

    void quitApp();

    SystemMonitor& monitor() { return monitor_; }
    StatusItem& statusItem() { return *statusItem_; }
    QMenu& menu() { return menu_; }

  private:
    void scheduleUpkeep();
    void createMenu();
    void installSubscriptions();
    void installNotificationSubscriptions();
    void updateTitle();

    const Platform& platform_;
    AppSettings& settings_;
    DatabaseManager& database_;
    NotificationManager& notifications_;
    SmartAlertMonitor& alerts_;
    SystemMonitor monitor_;
    BluetoothNotifications bluetoothAlerts_;
    std::optional<BluetoothMonitor> bluetoothMonitor_;
    std::unique_ptr<StatusItem> statusItem_;
    QMenu menu_;
    AlertMenu alertMenu_;
    QTimer dailyHeartbeatTimer_{this};
    QTimer firstReportTimer_{this};
    QTimer titleUpdateTimer_{this};  // a burst of changes becomes one redraw
};

}  // namespace corvanta
