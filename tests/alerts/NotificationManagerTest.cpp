// SPDX-License-Identifier: Apache-2.0
#include "alerts/NotificationManager.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/CapturedLog.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using Switch = Setting<bool> AppSettings::*;

class NotificationManagerTest : public testing::Test {
  protected:
    /// Whether the call gives a notification to the desktop.
    bool delivers(const std::function<void()>& notify) {
        const std::size_t before = machine.notifications.requests().size();
        notify();
        return machine.notifications.requests().size() > before;
    }
    bool deliversProactive(const std::string& label) {
        return delivers([&] { manager.notifyProactiveAlert(label, "CPU", "It did."); });
    }
    bool deliversLowBattery(std::int64_t percentage = 12) {
        return delivers([&] { manager.notifyLowBattery(percentage); });
    }
    NotificationRequest last() const { return machine.notifications.requests().back(); }

    /// One call for each kind that has a switch of its own.
    std::vector<std::pair<std::function<void()>, Switch>> switchedCalls() {
        return {
            {[&] { manager.notifyMemoryPressure(MemoryPressureLevel::critical); },
             &AppSettings::notifyOnCriticalPressure},
            {[&] { manager.notifyMemoryPressure(MemoryPressureLevel::warning); },
             &AppSettings::notifyOnWarningPressure},
            {[&] { manager.notifyThermalThrottling("Serious"); }, &AppSettings::notifyOnThermalPressure},
            {[&] { manager.notifyLowBluetoothBattery("Mouse", 9); },
             &AppSettings::notifyOnLowBluetoothBattery},
            {[&] { manager.notifyBatteryDischargeMilestone(50); }, &AppSettings::notifyOnBatteryMilestones},
            {[&] { manager.notifyProactiveAlert("editor", "CPU", "It did."); },
             &AppSettings::notifyOnProactiveAlerts},
            {[&] { manager.notifyAnomaly("CPU", "It is."); }, &AppSettings::notifyOnAnomalies},
            {[&] { manager.notifyLowBattery(12); }, &AppSettings::notifyOnLowBattery},
            {[&] { manager.notifyBatteryCycleIncreased(211, 212, 90); },
             &AppSettings::notifyOnBatteryMilestones},
            {[&] { manager.notifyWeeklyReport("A week.", 90); }, &AppSettings::weeklyReportEnabled},
        };
    }
    void switchAll(bool on) {
        for (const auto& [call, which] : switchedCalls()) (settings.*which).set(on);
    }

    test::FakePlatform machine;
    AppSettings settings{machine.defaults, machine.loginItem, machine.clock, machine.executor};
    NotificationManager manager{machine.notifications, settings, machine.clock};
    test::CapturedLog log;
};

TEST_F(NotificationManagerTest, aKeyIsRefusedUntilItsCooldownIsOver) {
    settings.notifyCooldownMinutes.set(30);
    EXPECT_TRUE(deliversLowBattery());
    machine.clock.advance(1799);
    EXPECT_FALSE(deliversLowBattery());
    machine.clock.advance(1);
    EXPECT_TRUE(deliversLowBattery());
}

TEST_F(NotificationManagerTest, theCooldownIsTheOneThatIsSetWhenItIsAsked) {
    EXPECT_TRUE(deliversLowBattery());
    machine.clock.advance(299);
    EXPECT_FALSE(deliversLowBattery());
    settings.notifyCooldownMinutes.set(0);
    EXPECT_TRUE(deliversLowBattery());
    EXPECT_TRUE(deliversLowBattery());
}

TEST_F(NotificationManagerTest, theTwoLevelsOfMemoryCoolDownApart) {
    settings.notifyOnWarningPressure.set(true);
    const auto deliversLevel = [&](MemoryPressureLevel level) {
        return delivers([&] { manager.notifyMemoryPressure(level); });
    };
    EXPECT_TRUE(deliversLevel(MemoryPressureLevel::warning));
    EXPECT_TRUE(deliversLevel(MemoryPressureLevel::critical));
    EXPECT_FALSE(deliversLevel(MemoryPressureLevel::warning));
    EXPECT_FALSE(deliversLevel(MemoryPressureLevel::critical));
}

TEST_F(NotificationManagerTest, otherMemoryLevelsTellNothing) {
    settings.notifyOnWarningPressure.set(true);
    for (const auto level : {MemoryPressureLevel::normal, MemoryPressureLevel::unavailable})
        EXPECT_FALSE(delivers([&] { manager.notifyMemoryPressure(level); }));
}

TEST_F(NotificationManagerTest, processesOfOtherLabelsCoolDownApart) {
    EXPECT_TRUE(deliversProactive("editor"));
    EXPECT_TRUE(deliversProactive("browser"));
    EXPECT_TRUE(deliversProactive("browser (×3)"));
    EXPECT_TRUE(deliversProactive("browser (×4)"));
    EXPECT_FALSE(deliversProactive("browser (×3)"));
    EXPECT_FALSE(deliversProactive("Editor"));  // the key knows no case
}

TEST_F(NotificationManagerTest, devicesCoolDownApart) {
    const auto deliversDevice = [&](const std::string& name) {
        return delivers([&] { manager.notifyLowBluetoothBattery(name, 9); });
    };
    EXPECT_TRUE(deliversDevice("Mouse"));
    EXPECT_TRUE(deliversDevice("Keyboard"));
    EXPECT_FALSE(deliversDevice("Mouse"));
}

TEST_F(NotificationManagerTest, aSnoozeRefusesPerformanceAndNoBattery) {
    switchAll(true);
    settings.snoozePerformanceAlerts(3600);
    std::vector<bool> passed;
    for (const auto& [call, which] : switchedCalls()) passed.push_back(delivers(call));
    EXPECT_EQ(passed, (std::vector<bool>{false, false, false, true, true, false, false, true, true, true}));

    // What the snooze refused is free as soon as it is over.
    machine.clock.advance(3601);
    settings.notifyCooldownMinutes.set(600);
    passed.clear();
    for (const auto& [call, which] : switchedCalls()) passed.push_back(delivers(call));
    EXPECT_EQ(passed, (std::vector<bool>{true, true, true, false, false, true, true, false, false, true}));
}

TEST_F(NotificationManagerTest, eachSwitchSilencesItsOwn) {
    switchAll(true);
    for (const auto& [call, which] : switchedCalls()) {
        const std::string key((settings.*which).key());
        (settings.*which).set(false);
        EXPECT_FALSE(delivers(call)) << key;
        (settings.*which).set(true);
        // The refusal has left no trace.
        EXPECT_TRUE(delivers(call)) << key;
    }
}

TEST_F(NotificationManagerTest, aSwitchSilencesNoOther) {
    settings.notifyCooldownMinutes.set(0);
    for (std::size_t off = 0; off < switchedCalls().size(); ++off) {
        switchAll(true);
        const Switch theSwitch = switchedCalls()[off].second;
        (settings.*theSwitch).set(false);
        for (const auto& [call, which] : switchedCalls()) EXPECT_EQ(delivers(call), which != theSwitch);
    }
}

TEST_F(NotificationManagerTest, theMasterSwitchSilencesEverythingAndUsesUpNothing) {
    switchAll(true);
    settings.notificationsEnabled.set(false);
    for (const auto& [call, which] : switchedCalls()) EXPECT_FALSE(delivers(call));
    settings.notificationsEnabled.set(true);
    for (const auto& [call, which] : switchedCalls()) EXPECT_TRUE(delivers(call));
}

TEST_F(NotificationManagerTest, lowBatteryHasOneCooldownForAllCharges) {
    EXPECT_TRUE(deliversLowBattery(20));
    EXPECT_FALSE(deliversLowBattery(5));
}

TEST_F(NotificationManagerTest, theMilestonesOfADischargeAreWordedByTheirCharge) {
    for (const int percentage : {100, 90, 80, 70, 60, 50, 40, 30, 20, 10}) {
        ASSERT_TRUE(delivers([&] { manager.notifyBatteryDischargeMilestone(percentage); }));
        EXPECT_EQ(last().title, percentage > 50   ? "Battery Update"
                                : percentage > 20 ? "Battery Running Low"
                                                  : "Battery Critically Low");
    }
}

TEST_F(NotificationManagerTest, littleHealthComesBeforeManyCycles) {
    ASSERT_TRUE(delivers([&] { manager.notifyBatteryCycleIncreased(1199, 1200, 70); }));
    EXPECT_EQ(last(), (NotificationRequest{.identifier = "com.corvanta.battery_cycle_up_1200",
                                           .title = "Battery Health Warning ⚠️",
                                           .body = "Cycle count is 1200. Health has dropped to 70%. "
                                                   "Consider servicing your battery.",
                                           .interruptionLevel = InterruptionLevel::active}));
}

TEST_F(NotificationManagerTest, theWeeklyReportKnowsNeitherSnoozeNorCooldown) {
    settings.snoozePerformanceAlerts(3600);
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(delivers([&] { manager.notifyWeeklyReport("Your Mac had a great week.", 92); }));
        EXPECT_EQ(last(), (NotificationRequest{.identifier = "com.corvanta.weekly_report",
                                               .title = "Your Weekly Mac Health Report",
                                               .body = "Your Mac had a great week. Health score: 92/100. Tap "
                                                       "to see the details.",
                                               .interruptionLevel = InterruptionLevel::active}));
    }
}

TEST_F(NotificationManagerTest, aNotificationCarriesItsWordsItsSoundAndItsUrgency) {
    ASSERT_TRUE(deliversProactive("Web Content (×3)"));
    EXPECT_EQ(last(), (NotificationRequest{.identifier = "com.corvanta.proactive_CPU_web content (×3)",
                                           .title = "High CPU Alert: Web Content (×3)",
                                           .body = "It did.",
                                           .interruptionLevel = InterruptionLevel::timeSensitive,
                                           .playsDefaultSound = true}));
}

TEST_F(NotificationManagerTest, namesReachTheDesktopAsTheyAre) {
    const std::string name = "<b>&amp;\n\x1b[31m\xe2\x80\xae";
    manager.notifyLowBluetoothBattery(name, 9);
    EXPECT_EQ(last().body, name + " battery is at 9%. Charge it soon to avoid interruption.");
}

TEST_F(NotificationManagerTest, aDeliveryThatFailsIsLoggedAndUsesUpTheCooldown) {
    machine.notifications.failure = "No room left";
    EXPECT_TRUE(deliversLowBattery());
    manager.notifyWeeklyReport("A week.", 90);
    machine.executor.runQueued();
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{"Failed to deliver notification: No room left",
                                        "Failed to deliver weekly report notification: No room left"}));
    machine.notifications.failure.reset();
    EXPECT_FALSE(deliversLowBattery());
}

TEST_F(NotificationManagerTest, aDeliveryThatSucceedsIsSilent) {
    deliversLowBattery();
    machine.executor.runQueued();
    EXPECT_EQ(log.lines(), std::vector<std::string>{});
}

TEST_F(NotificationManagerTest, theAnswerToTheAuthorizationIsOnlyLogged) {
    const std::vector<std::pair<NotificationAuthorization, std::string>> answers = {
        {{.isGranted = true}, "Notification authorisation granted"},
        {{.isGranted = false}, "Notification authorisation denied"},
        {{.isGranted = false, .error = "Bus is gone"}, "Notification authorisation error: Bus is gone"},
    };
    for (const auto& [answer, line] : answers) {
        machine.notifications.authorization = answer;
        manager.requestAuthorization();
        machine.executor.runQueued();
        EXPECT_EQ(log.lines().back(), line);
    }
    EXPECT_EQ(log.lines().size(), answers.size());
    EXPECT_TRUE(deliversLowBattery());
}

TEST_F(NotificationManagerTest, whileNotificationsAreOffNothingIsAsked) {
    settings.notificationsEnabled.set(false);
    manager.requestAuthorization();
    EXPECT_EQ(machine.notifications.authorizationRequests(), 0);
    EXPECT_EQ(machine.notifications.subscribers.size(), 0u);
}

TEST_F(NotificationManagerTest, aChangedPreferenceAsksOrForgets) {
    manager.notificationsPreferenceDidChange(true);
    EXPECT_EQ(machine.notifications.authorizationRequests(), 1);
    EXPECT_EQ(machine.notifications.removals(), 0);
    manager.notificationsPreferenceDidChange(false);
    EXPECT_EQ(machine.notifications.authorizationRequests(), 1);
    EXPECT_EQ(machine.notifications.removals(), 1);
}

TEST_F(NotificationManagerTest, aClickIsToldByWhatItWasOn) {
    std::vector<std::string> clicks;
    QObject::connect(&manager, &NotificationManager::weeklyReportClicked, &manager,
                     [&] { clicks.emplace_back("report"); });
    QObject::connect(&manager, &NotificationManager::alertClicked, &manager,
                     [&] { clicks.emplace_back("alert"); });
    manager.requestAuthorization();
    manager.requestAuthorization();
    for (const std::string key : {"weekly_report", "battery_low", "proactive_CPU_editor"})
        machine.notifications.click("com.corvanta." + key);
    EXPECT_EQ(clicks, (std::vector<std::string>{"report", "alert", "alert"}));
}

}  // namespace
}  // namespace corvanta
