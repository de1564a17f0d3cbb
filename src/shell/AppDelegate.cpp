// SPDX-License-Identifier: Apache-2.0
#include "shell/AppDelegate.h"

#include <QCoreApplication>
#include <QIcon>
#include <QPixmap>
#include <QThread>
#include <chrono>
#include <utility>

#include "reports/WeeklyReportEngine.h"
#include "shell/StatusRowBuilder.h"
#include "shell/Symbols.h"

namespace corvanta {
namespace {

constexpr std::chrono::hours heartbeatInterval{24};
constexpr std::chrono::seconds firstReportDelay{30};
constexpr std::chrono::milliseconds titleUpdateDelay{100};
constexpr double menuSymbolSize = 16;

}  // namespace

AppDelegate::AppDelegate(const Platform& platform, AppSettings& settings, DatabaseManager& database,
                         NotificationManager& notifications, SmartAlertMonitor& alerts, PublishSink& sink,
                         std::unique_ptr<StatusItem> statusItem)
    : platform_(platform),
      settings_(settings),
      database_(database),
      notifications_(notifications),
      alerts_(alerts),
      monitor_(platform, settings, sink),
      bluetoothAlerts_(notifications),
      statusItem_(std::move(statusItem)),
      alertMenu_(menu_, alerts, monitor_, platform.processSignaller) {}

void AppDelegate::applicationDidFinishLaunching() {
    notifications_.requestAuthorization();
    scheduleUpkeep();
    createMenu();
    statusItem_->setToolTip([this] { return QString::fromStdString(monitor_.tooltipText()); });
    installSubscriptions();
    installNotificationSubscriptions();
    updateTitle();
    bluetoothMonitor_.emplace(platform_, settings_, bluetoothAlerts_);
}

void AppDelegate::scheduleUpkeep() {
    database_.pruneOldRecords();
    dailyHeartbeatTimer_.setTimerType(Qt::VeryCoarseTimer);
    dailyHeartbeatTimer_.callOnTimeout(this, [this] {
        database_.pruneOldRecords();
        checkWeeklyReport();
    });
    dailyHeartbeatTimer_.start(heartbeatInterval);
    firstReportTimer_.setSingleShot(true);
    firstReportTimer_.callOnTimeout(this, &AppDelegate::checkWeeklyReport);
    firstReportTimer_.start(firstReportDelay);
}

void AppDelegate::checkWeeklyReport() {
    Q_ASSERT(thread() == QThread::currentThread());
    if (!WeeklyReportEngine::isReportDue(settings_, platform_.defaults, database_, platform_.clock)) return;
    const WeeklyReport report = WeeklyReportEngine::generate(database_, platform_.clock, &monitor_);
    WeeklyReportEngine::markReported(platform_.defaults, platform_.clock);
    notifications_.notifyWeeklyReport(report.headline, report.healthScore);
}

void AppDelegate::activate() {
    Q_ASSERT(thread() == QThread::currentThread());

    monitor_.refreshRateLimitedMetrics();
}

void AppDelegate::showAlert() {
    activate();
    if (alerts_.activeAlertMessage()) statusItem_->popUpMenu(&menu_);
}

void AppDelegate::quitApp() {
    QCoreApplication::quit();
}

void AppDelegate::createMenu() {
    const QImage symbol = symbolImage(QStringLiteral("power"), menuSymbolSize,
                                      menu_.palette().color(QPalette::Text), statusItem_->scale());
    QAction* quit = menu_.addAction(QIcon(QPixmap::fromImage(symbol)), QStringLiteral("Quit Corvanta"), this,
                                    &AppDelegate::quitApp);
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    quit->setShortcutVisibleInContextMenu(true);
}

void AppDelegate::installSubscriptions() {
    titleUpdateTimer_.setSingleShot(true);
    titleUpdateTimer_.callOnTimeout(this, &AppDelegate::updateTitle);
    connect(&monitor_, &SystemMonitor::changed, this, [this] { titleUpdateTimer_.start(titleUpdateDelay); });
    connect(&settings_, &SettingGroup::changed, this, &AppDelegate::updateTitle);
    connect(statusItem_.get(), &StatusItem::primaryClicked, this, &AppDelegate::activate);
    connect(statusItem_.get(), &StatusItem::secondaryClicked, this,
            [this] { statusItem_->popUpMenu(&menu_); });
    connect(statusItem_.get(), &StatusItem::appearanceChanged, this, &AppDelegate::updateTitle);
}

void AppDelegate::installNotificationSubscriptions() {
    connect(&notifications_, &NotificationManager::weeklyReportClicked, this, &AppDelegate::activate);
    connect(&notifications_, &NotificationManager::alertClicked, this, &AppDelegate::showAlert);
    settings_.notificationsEnabled.onChange(
        this, [this, last = settings_.notificationsEnabled()](const bool& enabled) mutable {
            if (enabled == last) return;
            last = enabled;
            notifications_.notificationsPreferenceDidChange(enabled);
        });
}

void AppDelegate::updateTitle() {
    Q_ASSERT(thread() == QThread::currentThread());
    const StatusReadings readings{.cpuPercent = monitor_.cpuUsage(),
                                  .ramText = QString::fromStdString(monitor_.formattedRAM()),
                                  .pressureLevel = monitor_.displayedMemoryPressureLevel(),
                                  .pressureText = QString::fromStdString(monitor_.formattedMemoryPressure())};
    statusItem_->setContent(buildStatusRow(readings, statusItem_->appearance()));
}

}  // namespace corvanta
