// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/Clock.h"
#include "core/Executor.h"
#include "core/GaugeValueMode.h"
#include "core/Instant.h"
#include "core/NetworkDirection.h"
#include "core/NetworkDisplayMode.h"
#include "core/NetworkFormat.h"
#include "core/RefreshFrequency.h"
#include "core/ValueFormat.h"
#include "incidents/model/IncidentRuleConfiguration.h"
#include "platform/LoginItem.h"
#include "settings/AppTheme.h"
#include "settings/BatteryMenuBarVisibility.h"
#include "settings/DashboardStyle.h"
#include "settings/GraphTheme.h"
#include "settings/GraphType.h"
#include "settings/MenuBarStyle.h"
#include "settings/Setting.h"

namespace corvanta {

/// Every preference of the user, in one object. Each is kept in the store under the name that it has here.
///
/// One shared instance for the program's life. Main thread only. No value is checked or clamped. It fails
/// visibly in one case only: see `launchAtLogin`.
class AppSettings final : public SettingGroup {
    Q_OBJECT

  public:
    /// What is used must outlive the settings. Loading writes to the store in two cases: it gives
    /// `menuBarStyle` a valid value, and it removes a snooze that has expired.
    AppSettings(DefaultsStore& store, LoginItem& loginItem, const Clock& clock, Executor& mainExecutor);

    /// The settings of the installed platform.
    static AppSettings& shared();

    /// The values offered for `menuBarExpandHoldSeconds`.
    static constexpr std::array menuBarExpandHoldChoices = {0.0, 1.0, 2.0, 3.0, 5.0, 10.0};

    Setting<AppTheme> theme{this, "theme", AppTheme::system};
    Setting<bool> showCPU{this, "showCPU", true};
    Setting<bool> showCPUGraph{this, "showCPUGraph", false};
    Setting<GraphType> graphType{this, "graphType", GraphType::bars};
    Setting<DashboardStyle> dashboardStyle{this, "dashboardStyle", DashboardStyle::detailed};
    Setting<bool> showRAM{this, "showRAM", true};
    Setting<bool> showDisk{this, "showDisk", false};
    Setting<BatteryMenuBarVisibility> batteryMenuBarVisibility{this, "batteryMenuBarVisibility",
                                                               legacyBatteryVisibility()};
    Setting<bool> showBluetoothDevices{this, "showBluetoothDevices", false};
    Setting<bool> showBluetoothCount{this, "showBluetoothCount", false};
    Setting<bool> showNetwork{this, "showNetwork", false};
    Setting<bool> enableSmartColors{this, "enableSmartColors", true};
    Setting<bool> enableRenderCache{this, "enableRenderCache", true};
    Setting<GraphTheme> graphTheme{this, "graphTheme", GraphTheme::classic};
    /// Taken as stored: items that a list from an older version lacks are not added.
    Setting<std::vector<std::string>> menuBarOrder{
        this, "menuBarOrder", {"CPU", "RAM", "Memory", "Disk", "Battery", "Network", "Bluetooth"}};
    Setting<bool> collapseMenuBarMetrics{this, "collapseMenuBarMetrics", false};
    Setting<double> menuBarExpandHoldSeconds{this, "menuBarExpandHoldSeconds", 2.0};
    Setting<std::string> primaryMenuBarMetric{this, "primaryMenuBarMetric", "CPU"};
    Setting<NetworkFormat> networkFormat{this, "networkFormat", NetworkFormat::auto_};
    Setting<NetworkDirection> networkDirection{this, "networkDirection", NetworkDirection::both};
    Setting<NetworkDisplayMode> networkDisplayMode{this, "networkDisplayMode", NetworkDisplayMode::inline_};
    Setting<ValueFormat> valueFormat{this, "valueFormat", ValueFormat::size};
    Setting<GaugeValueMode> gaugeValueMode{this, "gaugeValueMode", GaugeValueMode::remaining};
    Setting<bool> showIcons{this, "showIcons", true};
    Setting<bool> showMenuBarAppIcon{this, "showMenuBarAppIcon", true};
    Setting<MenuBarStyle> menuBarStyle{this, "menuBarStyle", MenuBarStyle::classic};
    Setting<RefreshFrequency> refreshFrequency{this, "refreshFrequency", RefreshFrequency::normal};
    /// Loads as true if the system says so, whatever is stored. A set makes the system agree; if that fails
    /// it logs one line, and a moment later the setting returns to what the system reports.
    Setting<bool> launchAtLogin{this, "launchAtLogin", false};
    Setting<bool> showMemoryPressure{this, "showMemoryPressure", true};
    Setting<bool> notificationsEnabled{this, "notificationsEnabled", true};
    Setting<bool> notifyOnCriticalPressure{this, "notifyOnCriticalPressure", true};
    Setting<bool> notifyOnWarningPressure{this, "notifyOnWarningPressure", false};
    Setting<bool> notifyOnLowBattery{this, "notifyOnLowBattery", true};
    Setting<bool> notifyOnLowBluetoothBattery{this, "notifyOnLowBluetoothBattery", true};
    Setting<bool> notifyOnThermalPressure{this, "notifyOnThermalPressure", true};
    Setting<bool> notifyOnBatteryMilestones{this, "notifyOnBatteryMilestones", true};
    Setting<bool> notifyOnProactiveAlerts{this, "notifyOnProactiveAlerts", true};
    Setting<bool> notifyOnAnomalies{this, "notifyOnAnomalies", true};
    Setting<bool> incidentCPUEnabled{this, "incidentCPUEnabled", true};
    Setting<bool> incidentMemoryEnabled{this, "incidentMemoryEnabled", true};
    Setting<bool> incidentThermalEnabled{this, "incidentThermalEnabled", true};
    /// Never loaded from the past.
    Setting<std::optional<Instant>> performanceAlertsSnoozedUntil{this, "performanceAlertsSnoozedUntil",
                                                                  std::nullopt};
    Setting<std::int64_t> lowBatteryThreshold{this, "lowBatteryThreshold", 20};     ///< percent
    Setting<std::int64_t> notifyCooldownMinutes{this, "notifyCooldownMinutes", 5};  ///< between like ones
    Setting<bool> weeklyReportEnabled{this, "weeklyReportEnabled", true};
    Setting<bool> centerShowHealthSummary{this, "centerShowHealthSummary", true};
    Setting<bool> centerShowActivityCharts{this, "centerShowActivityCharts", true};
    Setting<bool> centerShowTopProcesses{this, "centerShowTopProcesses", true};
    Setting<bool> analyticsEnabled{this, "analyticsEnabled", true};

    /// The three `incident...Enabled` settings as they are now.
    IncidentRuleConfiguration incidentRuleConfiguration() const;

    bool performanceAlertsAreSnoozed() const;
    /// Snoozes from now on; for a minute if `seconds` is less.
    void snoozePerformanceAlerts(double seconds);
    void resumePerformanceAlerts();

  private:
    BatteryMenuBarVisibility legacyBatteryVisibility() const;
    void updateLaunchAtLogin();

    LoginItem& loginItem_;
    const Clock& clock_;
    Executor& mainExecutor_;
};

}  // namespace corvanta
