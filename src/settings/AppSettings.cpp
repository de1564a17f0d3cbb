// SPDX-License-Identifier: Apache-2.0
#include "settings/AppSettings.h"

#include <QPointer>
#include <algorithm>
#include <chrono>

#include "core/Log.h"
#include "incidents/model/PerformanceAlertSnoozePolicy.h"
#include "platform/Platform.h"

namespace corvanta {

AppSettings::AppSettings(DefaultsStore& store, LoginItem& loginItem, const Clock& clock,
                         Executor& mainExecutor)
    : SettingGroup(store), loginItem_(loginItem), clock_(clock), mainExecutor_(mainExecutor) {
    if (!readSetting<MenuBarStyle>(store, menuBarStyle.key())) menuBarStyle.set(MenuBarStyle::classic);
    if (loginItem.isEnabled()) launchAtLogin.adopt(true);
    if (performanceAlertsSnoozedUntil() && !performanceAlertsAreSnoozed()) resumePerformanceAlerts();
    // Connected first of all, so that the login item is settled before anyone else hears of the change.
    launchAtLogin.onChange(this, [this](bool) { updateLaunchAtLogin(); });
}

AppSettings& AppSettings::shared() {
    const Platform& platform = installedPlatform();
    static AppSettings& instance =
        *new AppSettings(platform.defaults, platform.loginItem, platform.clock, platform.mainExecutor);
    return instance;
}

IncidentRuleConfiguration AppSettings::incidentRuleConfiguration() const {
    return {.cpuEnabled = incidentCPUEnabled(),
            .memoryEnabled = incidentMemoryEnabled(),
            .thermalEnabled = incidentThermalEnabled()};
}

bool AppSettings::performanceAlertsAreSnoozed() const {
    return PerformanceAlertSnoozePolicy::isSnoozed(performanceAlertsSnoozedUntil(), clock_.now());
}

void AppSettings::snoozePerformanceAlerts(double seconds) {
    performanceAlertsSnoozedUntil.set(clock_.now() + std::chrono::duration<double>(std::max(60.0, seconds)));
}

void AppSettings::resumePerformanceAlerts() {
    performanceAlertsSnoozedUntil.set(std::nullopt);
}

// The key "showBattery" is only read. Stored as false it means the default, not hidden.
BatteryMenuBarVisibility AppSettings::legacyBatteryVisibility() const {
    return store().boolValue("showBattery").value_or(false) ? BatteryMenuBarVisibility::always
                                                            : BatteryMenuBarVisibility::unpluggedOnly;
}

void AppSettings::updateLaunchAtLogin() {
    const bool wanted = launchAtLogin();
    if (wanted == loginItem_.isEnabled()) return;
    const auto failure = wanted ? loginItem_.registerItem() : loginItem_.unregisterItem();
    if (!failure) return;
    logLine("Failed to update launch at login status: " + *failure);
    mainExecutor_.post([settings = QPointer(this)] {
        if (settings) settings->launchAtLogin.set(settings->loginItem_.isEnabled());
    });
}

}  // namespace corvanta
