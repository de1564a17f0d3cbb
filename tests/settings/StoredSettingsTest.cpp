// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/linux/JsonDefaultsStore.h"
#include "settings/AppSettings.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

/// One run of the program on a settings file.
struct ProgramRun {
    ProgramRun(const std::string& path, test::FakePlatform& machine)
        : store(path), settings(store, machine.loginItem, machine.clock, machine.executor) {}

    JsonDefaultsStore store;
    AppSettings settings;
};

class StoredSettingsTest : public testing::Test {
  protected:
    test::TempDirectory folder;
    const std::string path = folder.file("settings.json");
    test::FakePlatform machine;
    test::CapturedLog log;
};

TEST_F(StoredSettingsTest, whatOneRunSetsTheNextOneLoads) {
    const Instant until = machine.clock.now() + std::chrono::duration<double>(900.25);
    {
        ProgramRun run(path, machine);
        run.settings.showCPU.set(false);
        run.settings.theme.set(AppTheme::dark);
        run.settings.menuBarStyle.set(MenuBarStyle::signature);
        run.settings.menuBarOrder.set({"RAM", "CPU"});
        run.settings.menuBarExpandHoldSeconds.set(3.0);
        run.settings.primaryMenuBarMetric.set("");
        run.settings.networkFormat.set(NetworkFormat::kbps);
        run.settings.lowBatteryThreshold.set(0);
        run.settings.notifyCooldownMinutes.set(200);
        run.settings.performanceAlertsSnoozedUntil.set(until);
    }
    ProgramRun next(path, machine);
    EXPECT_FALSE(next.settings.showCPU());
    EXPECT_EQ(next.settings.theme(), AppTheme::dark);
    EXPECT_EQ(next.settings.menuBarStyle(), MenuBarStyle::signature);
    EXPECT_EQ(next.settings.menuBarOrder(), (std::vector<std::string>{"RAM", "CPU"}));
    EXPECT_EQ(next.settings.menuBarExpandHoldSeconds(), 3.0);
    EXPECT_EQ(next.settings.primaryMenuBarMetric(), "");
    EXPECT_EQ(next.settings.networkFormat(), NetworkFormat::kbps);
    EXPECT_EQ(next.settings.lowBatteryThreshold(), 0);
    EXPECT_EQ(next.settings.notifyCooldownMinutes(), 200);
    EXPECT_EQ(next.settings.performanceAlertsSnoozedUntil(), until);
    EXPECT_TRUE(next.settings.showRAM());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(StoredSettingsTest, theFirstStartWritesOnlyTheMenuBarStyle) {
    { const ProgramRun first(path, machine); }
    EXPECT_EQ(test::readFile(path), "{\n    \"menuBarStyle\": \"Classic\"\n}\n");
}

TEST_F(StoredSettingsTest, anExpiredSnoozeIsGoneFromTheFileAfterTheNextStart) {
    { ProgramRun(path, machine).settings.snoozePerformanceAlerts(900); }
    machine.clock.advance(901);
    { const ProgramRun next(path, machine); }
    EXPECT_EQ(test::readFile(path).find("performanceAlertsSnoozedUntil"), std::string::npos);
}

TEST_F(StoredSettingsTest, aDamagedFileGivesDefaultsThatCanBeChangedAgain) {
    folder.write("settings.json", "{\"showCPU\": fal");
    {
        ProgramRun run(path, machine);
        EXPECT_TRUE(run.settings.showCPU());
        run.settings.showRAM.set(false);
    }
    EXPECT_FALSE(ProgramRun(path, machine).settings.showRAM());
    EXPECT_EQ(test::readFile(path + ".damaged-1"), "{\"showCPU\": fal");
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(StoredSettingsTest, aFileFullOfWrongTypesGivesDefaultsAndKeepsThem) {
    folder.write("settings.json",
                 R"({"showCPU": 0, "theme": true, "menuBarOrder": ["CPU", 1], "lowBatteryThreshold": 20.5,
                     "menuBarExpandHoldSeconds": "5", "primaryMenuBarMetric": null, "graphTheme": {},
                     "performanceAlertsSnoozedUntil": [], "menuBarStyle": "Signature"})");
    const std::string before = test::readFile(path);
    const ProgramRun run(path, machine);
    EXPECT_TRUE(run.settings.showCPU());
    EXPECT_EQ(run.settings.theme(), AppTheme::system);
    EXPECT_EQ(run.settings.menuBarOrder().size(), 7U);
    EXPECT_EQ(run.settings.lowBatteryThreshold(), 20);
    EXPECT_EQ(run.settings.menuBarExpandHoldSeconds(), 2.0);
    EXPECT_EQ(run.settings.primaryMenuBarMetric(), "CPU");
    EXPECT_EQ(run.settings.graphTheme(), GraphTheme::classic);
    EXPECT_EQ(run.settings.performanceAlertsSnoozedUntil(), std::nullopt);
    EXPECT_EQ(run.settings.menuBarStyle(), MenuBarStyle::signature);
    EXPECT_EQ(test::readFile(path), before);
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace corvanta
