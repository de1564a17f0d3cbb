// SPDX-License-Identifier: Apache-2.0
#include "integration/CorvantaTest.h"
#include "platform/MockUPower.h"
#include "storage/StoreTestSupport.h"
#include "support/PrivateBus.h"

namespace corvanta::test {
namespace {

class PowerTest : public CorvantaTest {
  protected:
    /// Charge and charging of the last stored row that has a battery.
    bool awaitBattery(const std::string& expected) const {
        return eventually([&] {
            const auto rows = Sql(user_.database())
                                  .rows(
                                      "SELECT battery_percentage, is_charging FROM metrics_history "
                                      "WHERE battery_percentage IS NOT NULL ORDER BY timestamp;");
            return !rows.empty() && rows.back() == expected;
        });
    }
};

TEST_F(PowerTest, storesTheBatteryThatTheSystemsBusTellsOf) {
    const PrivateBus bus;
    const MockUPower upower(bus.address());
    ASSERT_TRUE(upower.isOnBus()) << "python3-dbusmock is needed";
    upower.mock(upowerPath, QStringLiteral("SetupDisplayDevice"),
                {2u, 1u, 63.5, 63.5, 100.0, 9.0, 0ll, 1800ll, true, QStringLiteral("battery"), 1u});
    user_.setVariable("DBUS_SYSTEM_BUS_ADDRESS", bus.address().toStdString());
    const auto program = start();
    ASSERT_TRUE(awaitRows(1));
    EXPECT_TRUE(awaitBattery("63|1"));
    upower.setProperty(MockUPower::pathOf(QStringLiteral("DisplayDevice")), upowerDeviceInterface,
                       QStringLiteral("Percentage"), 71.0);
    EXPECT_TRUE(awaitBattery("71|1"));
    expectQuits(*program);
}

TEST_F(PowerTest, aMachineWithoutASystemsBusRunsOn) {
    user_.setVariable("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + user_.dataHome() + "/none");
    const auto program = start();
    ASSERT_TRUE(awaitRows(2));
    expectQuits(*program);
}

}  // namespace
}  // namespace corvanta::test
