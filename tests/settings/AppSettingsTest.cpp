// SPDX-License-Identifier: Apache-2.0
#include "settings/AppSettings.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using Strings = std::vector<std::string>;

class AppSettingsTest : public testing::Test {
  protected:
    /// The settings of a program that starts now.
    std::unique_ptr<AppSettings> start() {
        return std::make_unique<AppSettings>(machine.defaults, machine.loginItem, machine.clock,
                                             machine.executor);
    }

    test::FakePlatform machine;
    test::FakeDefaultsStore& store = machine.defaults;
};

// One row of the table of keys: its member, key and default.
template <class T>
struct Row {
    Setting<T> AppSettings::*setting;
    std::string key;
    T standard;
};

const std::vector<Row<bool>> flags = {
    {&AppSettings::showCPU, "showCPU", true},
    {&AppSettings::showCPUGraph, "showCPUGraph", false},
    {&AppSettings::showRAM, "showRAM", true},
    {&AppSettings::showDisk, "showDisk", false},
    {&AppSettings::showBluetoothDevices, "showBluetoothDevices", false},
    {&AppSettings::showBluetoothCount, "showBluetoothCount", false},
    {&AppSettings::showNetwork, "showNetwork", false},
    {&AppSettings::enableSmartColors, "enableSmartColors", true},
    {&AppSettings::enableRenderCache, "enableRenderCache", true},
    {&AppSettings::collapseMenuBarMetrics, "collapseMenuBarMetrics", false},
    {&AppSettings::showIcons, "showIcons", true},
    {&AppSettings::showMenuBarAppIcon, "showMenuBarAppIcon", true},
    {&AppSettings::launchAtLogin, "launchAtLogin", false},
    {&AppSettings::showMemoryPressure, "showMemoryPressure", true},
    {&AppSettings::notificationsEnabled, "notificationsEnabled", true},
    {&AppSettings::notifyOnCriticalPressure, "notifyOnCriticalPressure", true},
    {&AppSettings::notifyOnWarningPressure, "notifyOnWarningPressure", false},
    {&AppSettings::notifyOnLowBattery, "notifyOnLowBattery", true},
    {&AppSettings::notifyOnLowBluetoothBattery, "notifyOnLowBluetoothBattery", true},
    {&AppSettings::notifyOnThermalPressure, "notifyOnThermalPressure", true},
    {&AppSettings::notifyOnBatteryMilestones, "notifyOnBatteryMilestones", true},
    {&AppSettings::notifyOnProactiveAlerts, "notifyOnProactiveAlerts", true},
    {&AppSettings::notifyOnAnomalies, "notifyOnAnomalies", true},
    {&AppSettings::incidentCPUEnabled, "incidentCPUEnabled", true},
    {&AppSettings::incidentMemoryEnabled, "incidentMemoryEnabled", true},
    {&AppSettings::incidentThermalEnabled, "incidentThermalEnabled", true},
    {&AppSettings::weeklyReportEnabled, "weeklyReportEnabled", true},
    {&AppSettings::centerShowHealthSummary, "centerShowHealthSummary", true},
    {&AppSettings::centerShowActivityCharts, "centerShowActivityCharts", true},
    {&AppSettings::centerShowTopProcesses, "centerShowTopProcesses", true},
    {&AppSettings::analyticsEnabled, "analyticsEnabled", true},
};

const std::vector<Row<std::int64_t>> integers = {
    {&AppSettings::lowBatteryThreshold, "lowBatteryThreshold", 20},
    {&AppSettings::notifyCooldownMinutes, "notifyCooldownMinutes", 5},
};

TEST_F(AppSettingsTest, theKeysStandInOneOrder) {
    const auto settings = start();
    Strings keys;
    for (const SettingBase* setting : settings->findChildren<SettingBase*>()) {
        keys.emplace_back(setting->key());
    }
    EXPECT_EQ(keys, (Strings{"theme",
                             "showCPU",
                             "showCPUGraph",
                             "graphType",
                             "dashboardStyle",
                             "showRAM",
                             "showDisk",
                             "batteryMenuBarVisibility",
                             "showBluetoothDevices",
                             "showBluetoothCount",
                             "showNetwork",
                             "enableSmartColors",
                             "enableRenderCache",
                             "graphTheme",
                             "menuBarOrder",
                             "collapseMenuBarMetrics",
                             "menuBarExpandHoldSeconds",
                             "primaryMenuBarMetric",
                             "networkFormat",
                             "networkDirection",
                             "networkDisplayMode",
                             "valueFormat",
                             "gaugeValueMode",
                             "showIcons",
                             "showMenuBarAppIcon",
                             "menuBarStyle",
                             "refreshFrequency",
                             "launchAtLogin",
                             "showMemoryPressure",
                             "notificationsEnabled",
                             "notifyOnCriticalPressure",
                             "notifyOnWarningPressure",
                             "notifyOnLowBattery",
                             "notifyOnLowBluetoothBattery",
                             "notifyOnThermalPressure",
                             "notifyOnBatteryMilestones",
                             "notifyOnProactiveAlerts",
                             "notifyOnAnomalies",
                             "incidentCPUEnabled",
                             "incidentMemoryEnabled",
                             "incidentThermalEnabled",
                             "performanceAlertsSnoozedUntil",
                             "lowBatteryThreshold",
                             "notifyCooldownMinutes",
                             "weeklyReportEnabled",
                             "centerShowHealthSummary",
                             "centerShowActivityCharts",
                             "centerShowTopProcesses",
                             "analyticsEnabled"}));
}

TEST_F(AppSettingsTest, booleansHaveTheirDefaultsAndAStoredOneWins) {
    for (const auto& row : flags) {
        store.values.clear();
        EXPECT_EQ(((*start()).*row.setting)(), row.standard) << row.key;
        for (const bool stored : {false, true}) {
            store.values = {{row.key, stored}};
            EXPECT_EQ(((*start()).*row.setting)(), stored) << row.key;
        }
    }
}

TEST_F(AppSettingsTest, aBooleanTakesNoOtherType) {
    for (const auto& row : flags) {
        const std::vector<DefaultsValue> others = {std::int64_t{row.standard ? 0 : 1},
                                                   row.standard ? 0.0 : 1.0,
                                                   std::string(row.standard ? "false" : "true"), Strings{}};
        for (const DefaultsValue& other : others) {
            store.values = {{row.key, other}};
            EXPECT_EQ(((*start()).*row.setting)(), row.standard) << row.key << ' ' << other.index();
        }
    }
}

TEST_F(AppSettingsTest, booleansAreWrittenUnderTheirOwnKeys) {
    const auto settings = start();
    for (const auto& row : flags) {
        for (const bool value : {false, true}) {
            store.writes.clear();
            ((*settings).*row.setting).set(value);
            EXPECT_EQ(store.writes, Strings{row.key});
            EXPECT_EQ(store.values.at(row.key), DefaultsValue(value)) << row.key;
        }
    }
}

TEST_F(AppSettingsTest, integersHaveTheirDefaultsAndAStoredOneWins) {
    for (const auto& row : integers) {
        store.values.clear();
        EXPECT_EQ(((*start()).*row.setting)(), row.standard) << row.key;
        for (const std::int64_t stored : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{200}}) {
            store.values = {{row.key, stored}};
            EXPECT_EQ(((*start()).*row.setting)(), stored) << row.key;
        }
        for (const DefaultsValue& other :
             std::vector<DefaultsValue>{true, 3.5, std::string("30"), Strings{"30"}}) {
            store.values = {{row.key, other}};
            EXPECT_EQ(((*start()).*row.setting)(), row.standard) << row.key << ' ' << other.index();
        }
    }
}

TEST_F(AppSettingsTest, valuesOutOfRangeAreKeptAsSet) {
    const auto settings = start();
    for (const std::int64_t value : {std::int64_t{0}, std::int64_t{200}, std::int64_t{-5}}) {
        settings->lowBatteryThreshold.set(value);
        settings->notifyCooldownMinutes.set(value);
        EXPECT_EQ(settings->lowBatteryThreshold(), value);
        EXPECT_EQ(store.values.at("lowBatteryThreshold"), DefaultsValue(value));
        EXPECT_EQ(start()->lowBatteryThreshold(), value);
        EXPECT_EQ(start()->notifyCooldownMinutes(), value);
    }
    settings->menuBarExpandHoldSeconds.set(-1.5);
    EXPECT_EQ(start()->menuBarExpandHoldSeconds(), -1.5);
}

/// A missing key and a string that is no raw value give the default and write nothing; each raw value is
/// taken.
template <class E>
void expectEnumeration(test::FakePlatform& machine, Setting<E> AppSettings::*setting, const std::string& key,
                       E standard) {
    const auto loaded = [&] {
        const AppSettings settings(machine.defaults, machine.loginItem, machine.clock, machine.executor);
        return (settings.*setting)();
    };
    auto& values = machine.defaults.values;
    values.clear();
    EXPECT_EQ(loaded(), standard) << key;
    for (const DefaultsValue& bad :
         std::vector<DefaultsValue>{std::string(), std::string("no such case"), true, std::int64_t{1}, 1.0,
                                    Strings{std::string(rawValue(allCases(E{}).back()))}}) {
        values = {{key, bad}};
        EXPECT_EQ(loaded(), standard) << key;
    }
    for (const E value : allCases(E{})) {
        values = {{key, std::string(rawValue(value))}};
        EXPECT_EQ(loaded(), value) << key;

        AppSettings settings(machine.defaults, machine.loginItem, machine.clock, machine.executor);
        values.clear();
        (settings.*setting).set(value);
        EXPECT_EQ(values.at(key), DefaultsValue(std::string(rawValue(value))));
    }
}

TEST_F(AppSettingsTest, enumerationsAreKeptByRawValue) {
    const auto check = [&](auto setting, const char* key, auto standard) {
        expectEnumeration(machine, setting, key, standard);
    };
    check(&AppSettings::theme, "theme", AppTheme::system);
    check(&AppSettings::graphType, "graphType", GraphType::bars);
    check(&AppSettings::dashboardStyle, "dashboardStyle", DashboardStyle::detailed);
    check(&AppSettings::batteryMenuBarVisibility, "batteryMenuBarVisibility",
          BatteryMenuBarVisibility::unpluggedOnly);
    check(&AppSettings::graphTheme, "graphTheme", GraphTheme::classic);
    check(&AppSettings::networkFormat, "networkFormat", NetworkFormat::auto_);
    check(&AppSettings::networkDirection, "networkDirection", NetworkDirection::both);
    check(&AppSettings::networkDisplayMode, "networkDisplayMode", NetworkDisplayMode::inline_);
    check(&AppSettings::valueFormat, "valueFormat", ValueFormat::size);
    check(&AppSettings::gaugeValueMode, "gaugeValueMode", GaugeValueMode::remaining);
    check(&AppSettings::menuBarStyle, "menuBarStyle", MenuBarStyle::classic);
    check(&AppSettings::refreshFrequency, "refreshFrequency", RefreshFrequency::normal);
}

TEST_F(AppSettingsTest, aBadRefreshFrequencyLoadsAsNormalAndStaysStoredUntilTheUserChooses) {
    store.values = {{"refreshFrequency", std::string("Frantic (Every 0s)")}};
    const auto settings = start();
    EXPECT_EQ(settings->refreshFrequency(), RefreshFrequency::normal);
    EXPECT_EQ(store.stringValue("refreshFrequency"), "Frantic (Every 0s)");
    settings->refreshFrequency.set(RefreshFrequency::low);
    EXPECT_EQ(store.stringValue("refreshFrequency"), "Low (Every 3s)");
}

TEST_F(AppSettingsTest, theMenuBarOrderIsTakenAsStored) {
    EXPECT_EQ(start()->menuBarOrder(),
              (Strings{"CPU", "RAM", "Memory", "Disk", "Battery", "Network", "Bluetooth"}));
    for (const Strings& stored : {Strings{}, Strings{"RAM"}, Strings{"Network", "CPU", "unheard of"}}) {
        store.values = {{"menuBarOrder", stored}};
        EXPECT_EQ(start()->menuBarOrder(), stored);
    }
    store.values = {{"menuBarOrder", std::string("RAM")}};
    EXPECT_EQ(start()->menuBarOrder().size(), 7U);
}

TEST_F(AppSettingsTest, theHoldTimeIsADoubleAndThePrimaryMetricAString) {
    EXPECT_EQ(start()->menuBarExpandHoldSeconds(), 2.0);
    EXPECT_EQ(start()->primaryMenuBarMetric(), "CPU");
    store.values = {{"menuBarExpandHoldSeconds", 0.0}, {"primaryMenuBarMetric", std::string()}};
    EXPECT_EQ(start()->menuBarExpandHoldSeconds(), 0.0);
    EXPECT_EQ(start()->primaryMenuBarMetric(), "");
    store.values = {{"menuBarExpandHoldSeconds", std::int64_t{5}}, {"primaryMenuBarMetric", true}};
    EXPECT_EQ(start()->menuBarExpandHoldSeconds(), 5.0);
    EXPECT_EQ(start()->primaryMenuBarMetric(), "CPU");
    store.values = {{"menuBarExpandHoldSeconds", std::string("5")}};
    EXPECT_EQ(start()->menuBarExpandHoldSeconds(), 2.0);
}

TEST_F(AppSettingsTest, theOfferedHoldTimes) {
    const auto& choices = AppSettings::menuBarExpandHoldChoices;
    EXPECT_EQ(std::vector<double>(choices.begin(), choices.end()),
              (std::vector<double>{0.0, 1.0, 2.0, 3.0, 5.0, 10.0}));
}

TEST_F(AppSettingsTest, ofTheNotificationsOnlyWarningPressureIsOffByDefaultAndItsStoredTrueSurvives) {
    const auto settings = start();
    EXPECT_FALSE(settings->notifyOnWarningPressure());
    EXPECT_TRUE(settings->notifyOnCriticalPressure());
    EXPECT_TRUE(settings->notifyOnLowBattery());
    EXPECT_TRUE(settings->notifyOnLowBluetoothBattery());
    EXPECT_TRUE(settings->notifyOnThermalPressure());
    EXPECT_TRUE(settings->notifyOnBatteryMilestones());
    EXPECT_TRUE(settings->notifyOnProactiveAlerts());
    EXPECT_TRUE(settings->notifyOnAnomalies());
    store.values = {{"notifyOnWarningPressure", true}};
    EXPECT_TRUE(start()->notifyOnWarningPressure());
}

// menuBarStyle

TEST_F(AppSettingsTest, theFirstStartWritesTheClassicMenuBarStyleAndNothingElse) {
    EXPECT_EQ(start()->menuBarStyle(), MenuBarStyle::classic);
    EXPECT_EQ(store.stringValue("menuBarStyle"), "Classic");
    EXPECT_EQ(store.writes, Strings{"menuBarStyle"});
    EXPECT_TRUE(store.removals.empty());
    start();
    EXPECT_EQ(store.writes.size(), 1U);
}

TEST_F(AppSettingsTest, anUnknownMenuBarStyleIsReplacedByClassic) {
    for (const DefaultsValue& bad : std::vector<DefaultsValue>{std::string("classic"), std::string("Modern"),
                                                               std::string(), true, std::int64_t{1}}) {
        store.values = {{"menuBarStyle", bad}};
        EXPECT_EQ(start()->menuBarStyle(), MenuBarStyle::classic);
        EXPECT_EQ(store.stringValue("menuBarStyle"), "Classic");
    }
}

TEST_F(AppSettingsTest, aKnownMenuBarStyleIsNotWrittenAgain) {
    store.values = {{"menuBarStyle", std::string("Signature")}};
    EXPECT_EQ(start()->menuBarStyle(), MenuBarStyle::signature);
    store.values = {{"menuBarStyle", std::string("Classic")}};
    EXPECT_EQ(start()->menuBarStyle(), MenuBarStyle::classic);
    EXPECT_TRUE(store.writes.empty());
}

// batteryMenuBarVisibility

TEST_F(AppSettingsTest, theOldBatterySwitchDecidesOnlyWithoutANewValue) {
    const std::string key = "batteryMenuBarVisibility";
    store.values = {{"showBattery", true}};
    EXPECT_EQ(start()->batteryMenuBarVisibility(), BatteryMenuBarVisibility::always);
    store.values = {{"showBattery", false}};
    EXPECT_EQ(start()->batteryMenuBarVisibility(), BatteryMenuBarVisibility::unpluggedOnly);
    store.values = {};
    EXPECT_EQ(start()->batteryMenuBarVisibility(), BatteryMenuBarVisibility::unpluggedOnly);
    store.values = {{"showBattery", std::int64_t{1}}};
    EXPECT_EQ(start()->batteryMenuBarVisibility(), BatteryMenuBarVisibility::unpluggedOnly);
    store.values = {{"showBattery", true}, {key, std::string("Hidden")}};
    EXPECT_EQ(start()->batteryMenuBarVisibility(), BatteryMenuBarVisibility::hidden);
    store.values = {{"showBattery", true}, {key, std::string("no raw value")}};
    EXPECT_EQ(start()->batteryMenuBarVisibility(), BatteryMenuBarVisibility::always);
}

TEST_F(AppSettingsTest, theOldBatterySwitchIsNeverWritten) {
    store.values = {{"showBattery", true}, {"menuBarStyle", std::string("Classic")}};
    start()->batteryMenuBarVisibility.set(BatteryMenuBarVisibility::hidden);
    EXPECT_EQ(store.writes, Strings{"batteryMenuBarVisibility"});
    EXPECT_TRUE(store.removals.empty());
    EXPECT_EQ(store.boolValue("showBattery"), true);
}

// The snooze

TEST_F(AppSettingsTest, aSnoozeLastsAMinuteAtLeast) {
    const auto settings = start();
    const Instant now = machine.clock.now();
    const std::vector<std::pair<double, double>> rows = {{30, 60},   {10, 60},     {0, 60},
                                                         {-900, 60}, {60, 60},     {61, 61},
                                                         {900, 900}, {3600, 3600}, {14400, 14400}};
    for (const auto& [asked, given] : rows) {
        settings->snoozePerformanceAlerts(asked);
        EXPECT_EQ(settings->performanceAlertsSnoozedUntil(), now + std::chrono::duration<double>(given))
            << asked;
        EXPECT_EQ(store.doubleValue("performanceAlertsSnoozedUntil"), secondsSince1970(now) + given);
    }
}

TEST_F(AppSettingsTest, aSnoozeEndsAtItsMomentAndNotBefore) {
    const auto settings = start();
    EXPECT_FALSE(settings->performanceAlertsAreSnoozed());
    settings->snoozePerformanceAlerts(900);
    EXPECT_TRUE(settings->performanceAlertsAreSnoozed());
    machine.clock.advance(899.5);
    EXPECT_TRUE(settings->performanceAlertsAreSnoozed());
    machine.clock.advance(0.5);
    EXPECT_FALSE(settings->performanceAlertsAreSnoozed());
}

TEST_F(AppSettingsTest, resumingClearsTheSnoozeAndItsKey) {
    const auto settings = start();
    settings->snoozePerformanceAlerts(900);
    settings->resumePerformanceAlerts();
    EXPECT_EQ(settings->performanceAlertsSnoozedUntil(), std::nullopt);
    EXPECT_FALSE(settings->performanceAlertsAreSnoozed());
    EXPECT_EQ(store.value("performanceAlertsSnoozedUntil"), std::nullopt);
}

TEST_F(AppSettingsTest, aSnoozeSurvivesARestartUntilItsMoment) {
    const Instant now = machine.clock.now();
    store.values = {{"performanceAlertsSnoozedUntil", secondsSince1970(now) + 0.5}};
    const auto settings = start();
    EXPECT_EQ(settings->performanceAlertsSnoozedUntil(), now + std::chrono::duration<double>(0.5));
    EXPECT_TRUE(settings->performanceAlertsAreSnoozed());
    EXPECT_TRUE(store.removals.empty());
}

TEST_F(AppSettingsTest, aSnoozeThatHasExpiredLeavesNothingBehind) {
    for (const double late : {0.0, 0.5, 1e9}) {
        store.removals.clear();
        store.values = {{"performanceAlertsSnoozedUntil", secondsSince1970(machine.clock.now()) - late}};
        EXPECT_EQ(start()->performanceAlertsSnoozedUntil(), std::nullopt) << late;
        EXPECT_EQ(store.value("performanceAlertsSnoozedUntil"), std::nullopt) << late;
        EXPECT_EQ(store.removals, Strings{"performanceAlertsSnoozedUntil"});
    }
}

TEST_F(AppSettingsTest, aSnoozeOfAnotherTypeIsNone) {
    store.values = {{"performanceAlertsSnoozedUntil", std::string("tomorrow")}};
    EXPECT_EQ(start()->performanceAlertsSnoozedUntil(), std::nullopt);
    EXPECT_TRUE(store.removals.empty());
}

TEST_F(AppSettingsTest, theIncidentRulesFollowTheirSwitches) {
    const auto settings = start();
    EXPECT_EQ(settings->incidentRuleConfiguration(), IncidentRuleConfiguration::allEnabled());
    for (const bool cpu : {false, true}) {
        for (const bool memory : {false, true}) {
            for (const bool thermal : {false, true}) {
                settings->incidentCPUEnabled.set(cpu);
                settings->incidentMemoryEnabled.set(memory);
                settings->incidentThermalEnabled.set(thermal);
                EXPECT_EQ(settings->incidentRuleConfiguration(),
                          (IncidentRuleConfiguration{cpu, memory, thermal}));
            }
        }
    }
}

TEST_F(AppSettingsTest, theSharedSettingsAreOneObjectOnTheInstalledPlatform) {
    // Never destroyed, as the shared settings are not either.
    static auto& installed = *new test::FakePlatform;
    installed.defaults.values = {{"lowBatteryThreshold", std::int64_t{33}}};
    installPlatform(installed.platform);
    EXPECT_EQ(AppSettings::shared().lowBatteryThreshold(), 33);
    EXPECT_EQ(&AppSettings::shared(), &AppSettings::shared());
    AppSettings::shared().lowBatteryThreshold.set(34);
    EXPECT_EQ(installed.defaults.integerValue("lowBatteryThreshold"), 34);
}

}  // namespace
}  // namespace corvanta
