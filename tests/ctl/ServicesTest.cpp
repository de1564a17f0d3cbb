// SPDX-License-Identifier: Apache-2.0
// What the companion shows of the services on the system's bus.
#include <QElapsedTimer>
#include <nlohmann/json.hpp>

#include "ctl/CtlTest.h"
#include "platform/MockBluez.h"
#include "support/MockService.h"
#include "support/PrivateBus.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

const QString powerPath = QStringLiteral("/org/freedesktop/UPower");
const QString batteryPath = powerPath + QStringLiteral("/devices/mock_BAT");
const QString profiles = QStringLiteral("net.hadess.PowerProfiles");
const QString mouse = QStringLiteral("11:22:33:44:55:66");

class ServicesTest : public CtlTest {
  protected:
    ServicesTest() { user_.setVariable("DBUS_SYSTEM_BUS_ADDRESS", bus.address().toStdString()); }

    static void hasLine(const std::string& text, const std::string& line) {
        EXPECT_NE(text.find("\n" + line + "\n"), std::string::npos) << line << "\n" << text;
    }

    PrivateBus bus;
};

TEST_F(ServicesTest, statusShowsBatteryPowerSaverAndPeripherals) {
    const MockService upower(bus.address(), QStringLiteral("org.freedesktop.UPower"),
                             QStringLiteral("upower"));
    const MockService powerProfiles(bus.address(), profiles, QStringLiteral("power_profiles_daemon"));
    const MockBluez bluez(bus.address());
    ASSERT_TRUE(upower.isOnBus() && powerProfiles.isOnBus() && bluez.isOnBus())
        << "python3-dbusmock is needed";
    upower.mock(powerPath, QStringLiteral("AddDischargingBattery"),
                {QStringLiteral("mock_BAT"), QStringLiteral("Mock"), 29.0, 7275ll});
    upower.mock(
        batteryPath, QStringLiteral("AddProperties"),
        {QStringLiteral("org.freedesktop.UPower.Device"),
         QVariantMap{{QStringLiteral("ChargeCycles"), 312}, {QStringLiteral("EnergyFullDesign"), 117.6}}});
    upower.mock(powerPath, QStringLiteral("SetupDisplayDevice"),
                {2u, 2u, 29.0, 29.0, 100.0, 9.0, 7275ll, 0ll, true, QStringLiteral("battery"), 1u});
    upower.setProperty(powerPath, QStringLiteral("org.freedesktop.UPower"), QStringLiteral("OnBattery"),
                       true);
    powerProfiles.setProperty(QStringLiteral("/net/hadess/PowerProfiles"), profiles,
                              QStringLiteral("ActiveProfile"), QStringLiteral("power-saver"));
    bluez.add(mouse, QStringLiteral("MX Mouse"));
    bluez.connect(mouse);
    bluez.addBattery(mouse, 17);

    const Finished text = ctl("status");
    EXPECT_EQ(text.exitCode, 0);
    hasLine(text.out, "Battery           29% (On Battery), 2h 1m remaining");
    hasLine(text.out, "Battery health    85% (312 Cycles)");
    hasLine(text.out, "Low power mode    On");
    hasLine(text.out, "Peripheral        MX Mouse 17%");

    const Json json = Json::parse(ctl("status --json").out);
    EXPECT_EQ(json.at("battery"), (Json{{"percentage", 29},
                                        {"is_charging", false},
                                        {"is_plugged_in", false},
                                        {"time_remaining", 121},
                                        {"cycle_count", 312},
                                        {"health_percent", 85}}));
    EXPECT_EQ(json.at("low_power_mode"), true);
    EXPECT_EQ(json.at("peripherals"), Json::array({{{"name", "MX Mouse"}, {"battery_level", 17}}}));
}

TEST_F(ServicesTest, statusWaitsForServicesThatNeverAnswerOnlySoLong) {
    const MockService upower(bus.address(), QStringLiteral("org.freedesktop.UPower"),
                             QStringLiteral("upower"));
    const MockBluez bluez(bus.address());
    ASSERT_TRUE(upower.isOnBus() && bluez.isOnBus()) << "python3-dbusmock is needed";
    upower.freeze();
    bluez.freeze();
    QElapsedTimer time;
    time.start();
    const Json json = Json::parse(ctl("status --json").out);
    EXPECT_LT(time.elapsed(), patience / 3);
    EXPECT_EQ(json.at("peripherals"), Json::array());
    EXPECT_GT(json.at("memory").at("total").get<double>(), 0);
}

TEST_F(ServicesTest, watchFollowsTheBattery) {
    user_.setRefreshFrequency(RefreshFrequency::high);
    const MockService upower(bus.address(), QStringLiteral("org.freedesktop.UPower"),
                             QStringLiteral("upower"));
    ASSERT_TRUE(upower.isOnBus()) << "python3-dbusmock is needed";
    upower.mock(powerPath, QStringLiteral("SetupDisplayDevice"),
                {2u, 1u, 63.5, 63.5, 100.0, 9.0, 0ll, 1800ll, true, QStringLiteral("battery"), 1u});
    Program watch(CORVANTACTL_PROGRAM, words("watch"), user_.environment());
    ASSERT_TRUE(watch.awaitOutput("63% (Charging), full in 0h 30m"));
    upower.setProperty(powerPath + QStringLiteral("/devices/DisplayDevice"),
                       QStringLiteral("org.freedesktop.UPower.Device"), QStringLiteral("Percentage"), 64.0);
    EXPECT_TRUE(watch.awaitOutput("64% (Charging), full in 0h 30m"));
}

}  // namespace
}  // namespace corvanta::test
