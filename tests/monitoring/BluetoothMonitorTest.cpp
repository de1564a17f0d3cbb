// SPDX-License-Identifier: Apache-2.0
#include "monitoring/BluetoothMonitor.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QLocale>
#include <QSignalSpy>
#include <QTimer>
#include <QTimerEvent>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using test::FakePlatform;
using Devices = std::vector<BluetoothDevice>;

struct RecordingAlerts final : BluetoothAlerts {
    void notifyLowBluetoothBattery(const std::string& deviceName, std::int64_t batteryLevel) override {
        calls.push_back(deviceName + " " + std::to_string(batteryLevel));
    }
    std::vector<std::string> calls;
};

class BluetoothMonitorTest : public testing::Test {
  protected:
    void start() {
        monitor = std::make_unique<BluetoothMonitor>(machine.platform, settings, alerts);
        ASSERT_TRUE(machine.executor.runNext());
    }
    /// One refresh with these batteries and nothing else.
    void refresh(const std::vector<std::pair<std::string, std::int64_t>>& levels) {
        auto& batteries = machine.peripheralBatteries.services;
        batteries.clear();
        for (const auto& [name, level] : levels)
            batteries.push_back({.batteryPercent = level, .product = name});
        if (!monitor) return start();
        monitor->refresh();
        ASSERT_TRUE(machine.executor.runNext());
    }
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const BluetoothDevice& device : monitor->connectedDevices()) result.push_back(device.name);
        return result;
    }
    QTimer& timer(bool isSingleShot) const {
        for (QTimer* child : monitor->findChildren<QTimer*>())
            if (child->isSingleShot() == isSingleShot) return *child;
        std::abort();
    }
    static void fire(QTimer& timer) {
        QTimerEvent event(timer.timerId());
        QCoreApplication::sendEvent(&timer, &event);
    }
    int refreshes() const {
        int count = 0;
        for (const std::string& label : machine.threadSetup.labels())
            count += label == "com.corvanta.bluetoothmonitor.work" ? 1 : 0;
        return count;
    }

    FakePlatform machine;
    AppSettings settings{machine.defaults, machine.loginItem, machine.clock, machine.executor};
    RecordingAlerts alerts;
    std::unique_ptr<BluetoothMonitor> monitor;
};

TEST_F(BluetoothMonitorTest, theListIsEmptyUntilTheFirstRefreshWhichComesAtOnce) {
    machine.peripheralBatteries.services = {{.batteryPercent = 50, .product = "Mouse"}};
    monitor = std::make_unique<BluetoothMonitor>(machine.platform, settings, alerts);
    EXPECT_EQ(monitor->connectedDevices(), Devices{});
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(monitor->connectedDevices(), (Devices{{.name = "Mouse", .batteryLevel = 50}}));
}

TEST_F(BluetoothMonitorTest, itRefreshesEveryFifteenSeconds) {
    start();
    EXPECT_EQ(timer(false).intervalAsDuration(), std::chrono::seconds(15));
    ASSERT_TRUE(timer(false).isActive());
    for (int count = 2; count < 4; ++count) {
        fire(timer(false));
        ASSERT_TRUE(machine.executor.runNext());
        EXPECT_EQ(refreshes(), count);
    }
}

TEST_F(BluetoothMonitorTest, aBurstOfEventsIsOneRefreshAfterThreeHundredMilliseconds) {
    start();
    machine.bluetoothQuery.subscribers.fire();
    machine.peripheralBatteries.subscribers.fire();
    machine.bluetoothQuery.subscribers.fire();
    QTimer& events = timer(true);
    EXPECT_EQ(events.intervalAsDuration(), std::chrono::milliseconds(300));
    ASSERT_TRUE(events.isActive());
    EXPECT_EQ(refreshes(), 1);
    fire(events);
    EXPECT_FALSE(events.isActive());
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(refreshes(), 2);
}

TEST_F(BluetoothMonitorTest, aTickThatMeetsARunningRefreshIsDroppedAndNotQueued) {
    machine.bluetoothFallback.readings.hold();
    monitor = std::make_unique<BluetoothMonitor>(machine.platform, settings, alerts);
    ASSERT_TRUE(machine.bluetoothFallback.readings.await(1));
    fire(timer(false));
    monitor->refresh();
    machine.bluetoothFallback.readings.release();
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(refreshes(), 1);
    monitor->refresh();
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(refreshes(), 2);
}

TEST_F(BluetoothMonitorTest, anUnchangedListIsNoChange) {
    start();
    const QSignalSpy changes(monitor.get(), &BluetoothMonitor::changed);
    refresh({{"Mouse", 50}, {"Pen", 60}});
    EXPECT_EQ(changes.size(), 1);
    refresh({{"Pen", 60}, {"Mouse", 50}});
    EXPECT_EQ(changes.size(), 1);
    refresh({{"Mouse", 49}, {"Pen", 60}});
    EXPECT_EQ(changes.size(), 2);
    refresh({});
    EXPECT_EQ(changes.size(), 3);
    refresh({});
    EXPECT_EQ(changes.size(), 3);
}

TEST_F(BluetoothMonitorTest, theListIsSortedByNameInAnyCaseAndStably) {
    QLocale::setDefault(QLocale(QLocale::German));
    refresh({{"zebra", 1}, {"Ärmel", 2}, {"mouse", 3}, {"Arm", 4}, {"Mouse", 5}, {"MOUSE", 6}});
    EXPECT_EQ(names(), (std::vector<std::string>{"Arm", "Ärmel", "mouse", "Mouse", "MOUSE", "zebra"}));
    QLocale::setDefault(QLocale(QLocale::Swedish));
    refresh({{"zebra", 1}, {"Ärmel", 2}, {"MOUSE", 3}, {"Arm", 4}, {"Mouse", 5}, {"mouse", 6}});
    EXPECT_EQ(names(), (std::vector<std::string>{"Arm", "MOUSE", "Mouse", "mouse", "zebra", "Ärmel"}));
    QLocale::setDefault(QLocale::system());
}

TEST_F(BluetoothMonitorTest, aLevelAboutTheLimitWarnsOnceAndIsRearmedAtTwentySix) {
    const std::vector<std::pair<std::int64_t, std::size_t>> rows = {
        {27, 0}, {20, 1}, {21, 1}, {20, 1}, {25, 1},  {-1, 1}, {0, 1},
        {26, 1}, {21, 1}, {20, 2}, {19, 2}, {100, 2}, {0, 3}};
    for (const auto& [level, warnings] : rows) {
        refresh({{"Mouse", level}});
        EXPECT_EQ(alerts.calls.size(), warnings) << level;
    }
    EXPECT_EQ(alerts.calls, (std::vector<std::string>{"Mouse 20", "Mouse 20", "Mouse 0"}));
}

TEST_F(BluetoothMonitorTest, eachDeviceIsWarnedOfInTheOrderOfTheList) {
    refresh({{"Pen", 3}, {"Mouse", 20}, {"Keyboard", 21}, {"Headset", 0}});
    EXPECT_EQ(alerts.calls, (std::vector<std::string>{"Headset 0", "Mouse 20", "Pen 3"}));
}

TEST_F(BluetoothMonitorTest, aDeviceThatHasLeftIsWarnedOfAgain) {
    refresh({{"Mouse", 10}});
    refresh({{"MOUSE", 10}});
    EXPECT_EQ(alerts.calls, std::vector<std::string>{"Mouse 10"});
    refresh({});
    refresh({{"Mouse", 10}});
    EXPECT_EQ(alerts.calls.size(), 2u);
}

TEST_F(BluetoothMonitorTest, withNotificationsOffDevicesAreForgottenButNothingElseChanges) {
    for (Setting<bool>* const setting :
         {&settings.notificationsEnabled, &settings.notifyOnLowBluetoothBattery}) {
        refresh({});
        alerts.calls.clear();
        refresh({{"Leaves", 10}, {"Recovers", 10}});
        EXPECT_EQ(alerts.calls.size(), 2u);
        setting->set(false);
        refresh({{"Arrives", 10}, {"Recovers", 90}});
        setting->set(true);
        EXPECT_EQ(alerts.calls.size(), 2u);
        refresh({{"Arrives", 10}, {"Leaves", 10}, {"Recovers", 10}});
        EXPECT_EQ(alerts.calls,
                  (std::vector<std::string>{"Leaves 10", "Recovers 10", "Arrives 10", "Leaves 10"}));
    }
}

TEST_F(BluetoothMonitorTest, itsEndCallsARunningRefreshOff) {
    machine.bluetoothFallback.readings.hold();
    monitor = std::make_unique<BluetoothMonitor>(machine.platform, settings, alerts);
    ASSERT_TRUE(machine.bluetoothFallback.readings.await(1));
    monitor.reset();
    machine.executor.runQueued();
    EXPECT_EQ(machine.bluetoothQuery.subscribers.size(), 0u);
    EXPECT_EQ(machine.peripheralBatteries.subscribers.size(), 0u);
}

TEST_F(BluetoothMonitorTest, itsEndDoesNotWaitForAQueryThatHangs) {
    machine.bluetoothQuery.answer(std::nullopt);
    machine.bluetoothQuery.questions.hold();
    monitor = std::make_unique<BluetoothMonitor>(machine.platform, settings, alerts);
    ASSERT_TRUE(machine.bluetoothQuery.questions.await(1));
    monitor.reset();
    machine.executor.runQueued();
    machine.bluetoothQuery.questions.release();
    ASSERT_TRUE(machine.bluetoothQuery.questions.awaitLeavers(1));  // before the machine ends
}

TEST_F(BluetoothMonitorTest, readingOnceSortsAndStartsNoProgram) {
    machine.bluetoothFallback.devices = {{.name = "pen"}, {.name = "Mouse"}};
    EXPECT_EQ(BluetoothMonitor::readOnce(machine.platform), (Devices{{.name = "Mouse"}, {.name = "pen"}}));
    EXPECT_EQ(machine.bluetoothFallback.lastLimit, std::chrono::seconds(0));
}

}  // namespace
}  // namespace corvanta
