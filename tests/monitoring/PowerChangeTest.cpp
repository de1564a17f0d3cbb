// SPDX-License-Identifier: Apache-2.0
// The monitor over the power services of a private bus.
#include <gtest/gtest.h>

#include <QSignalSpy>
#include <memory>

#include "RecordingSink.h"
#include "monitoring/SystemMonitor.h"
#include "monitoring/collectors/BatteryMonitor.h"
#include "platform/linux/LinuxLowPowerSource.h"
#include "platform/linux/LinuxPowerSource.h"
#include "support/Eventually.h"
#include "support/FakePlatform.h"
#include "support/MockService.h"
#include "support/PrivateBus.h"
#include "support/TempDirectory.h"

namespace corvanta::test {
namespace {

const QString upowerPath = QStringLiteral("/org/freedesktop/UPower");
const QString upowerName = QStringLiteral("org.freedesktop.UPower");
const QString profilesPath = QStringLiteral("/net/hadess/PowerProfiles");
const QString profilesName = QStringLiteral("net.hadess.PowerProfiles");

class PowerChangeTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(upower.isOnBus() && profiles.isOnBus()) << "python3-dbusmock is needed";
        setUpDisplay(2, 30);
        upower.setProperty(upowerPath, upowerName, QStringLiteral("OnBattery"), true);
        monitor = std::make_unique<SystemMonitor>(ports, settings, sink, [](const Platform& platform) {
            CollectorSet set;
            set.battery = std::make_unique<BatteryMonitor>(platform.powerSources);
            return set;
        });
        ASSERT_TRUE(published([&] { return monitor->batteryPercentage() == 30; }));
        ASSERT_TRUE(machine.waiter.awaitWaits(1));  // for the next cycle
    }

    void setUpDisplay(unsigned state, double percentage) const {
        upower.mock(upowerPath, QStringLiteral("SetupDisplayDevice"),
                    {2u, state, percentage, percentage, 100.0, 9.0, 1200ll, 1800ll, true,
                     QStringLiteral("battery"), 1u});
    }
    /// Serves the main thread until the monitor shows it.
    bool published(const std::function<bool()>& condition) {
        return eventually([&] {
            machine.executor.runQueued();
            return condition();
        });
    }
    bool waits(std::size_t count) {
        return published([&] { return machine.waiter.waits().size() >= count; });
    }
    BusService::Connect connect() {
        return [address = bus.address()] { return connectionTo(address, QStringLiteral("monitor")); };
    }

    PrivateBus bus;
    MockService upower{bus.address(), upowerName, QStringLiteral("upower")};
    MockService profiles{bus.address(), profilesName, QStringLiteral("power_profiles_daemon")};
    TempDirectory root;
    FakePlatform machine;
    LinuxPowerSource power{connect(), root.path().string(), machine.clock, machine.executor};
    LinuxLowPowerSource lowPower{connect(), connect(), root.path().string(), machine.executor};
    Platform ports{machine.clock,
                   machine.waiter,
                   machine.executor,
                   machine.threadSetup,
                   machine.cpuTicks,
                   machine.memoryCounters,
                   machine.memoryPressureEvents,
                   machine.netCounters,
                   machine.volumeCapacity,
                   machine.driveHealth,
                   machine.processes,
                   machine.processSignaller,
                   power,
                   lowPower,
                   power,
                   machine.bluetoothQuery,
                   machine.bluetoothFallback,
                   machine.peripheralBatteries,
                   machine.thermal,
                   machine.machineFacts,
                   machine.defaults,
                   machine.loginItem,
                   machine.notifications};
    AppSettings settings{machine.defaults, machine.loginItem, machine.clock, machine.executor};
    RecordingSink sink;
    std::unique_ptr<SystemMonitor> monitor;
};

TEST_F(PowerChangeTest, pluggingInIsPublishedWithoutWaitingForTheNextCycle) {
    EXPECT_FALSE(monitor->isBatteryPluggedIn());
    EXPECT_EQ(monitor->batteryTimeRemaining(), 20);
    upower.setProperty(upowerPath, upowerName, QStringLiteral("OnBattery"), false);
    ASSERT_TRUE(waits(2));
    EXPECT_EQ(machine.waiter.waits().at(1), 0.1);  // what a change of the power source waits
    // First the loop's own wait, whose cycle finds the gate closed: no time has passed.
    machine.waiter.release();
    ASSERT_TRUE(waits(3));
    EXPECT_FALSE(monitor->isBatteryPluggedIn());
    machine.waiter.release();
    EXPECT_TRUE(published([&] { return monitor->isBatteryPluggedIn(); }));
    EXPECT_EQ(monitor->batteryPercentage(), 30);
}

TEST_F(PowerChangeTest, thePowerSaverIsPublishedAtOnce) {
    EXPECT_FALSE(monitor->isLowPowerModeEnabled());
    const QSignalSpy changes(monitor.get(), &SystemMonitor::changed);
    profiles.setProperty(profilesPath, profilesName, QStringLiteral("ActiveProfile"),
                         QStringLiteral("power-saver"));
    EXPECT_TRUE(eventually([&] { return monitor->isLowPowerModeEnabled(); }));
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(PowerChangeTest, aBatteryThatIsGoneLeavesThePublishedValuesStanding) {
    upower.kill();
    machine.clock.advance(2);
    const std::size_t before = sink.observations.size();
    machine.waiter.release();
    ASSERT_TRUE(published([&] { return sink.observations.size() > before; }));
    EXPECT_EQ(monitor->batteryPercentage(), 30);
}

}  // namespace
}  // namespace corvanta::test
