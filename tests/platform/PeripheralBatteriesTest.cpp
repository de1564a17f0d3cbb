// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxPeripheralBatteries.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <QDBusError>
#include <string>
#include <utility>

#include "MockBluez.h"
#include "MockUPower.h"
#include "OpenDescriptors.h"
#include "monitoring/collectors/BluetoothGatherer.h"
#include "platform/linux/CommandOutput.h"
#include "platform/linux/LinuxBluetoothFallback.h"
#include "support/Eventually.h"
#include "support/FakePlatform.h"
#include "support/PrivateBus.h"
#include "support/TempDirectory.h"

using namespace corvanta;
using namespace corvanta::test;
using namespace std::chrono_literals;

namespace {

const QString mouse = QStringLiteral("11:22:33:44:55:66");

class PeripheralBatteriesTest : public testing::Test {
  protected:
    BusService::Connect connect() {
        return [address = bus.address()] { return connectionTo(address, QStringLiteral("service")); };
    }
    std::vector<PeripheralBattery> services() {
        return onWorker([this] { return batteries.readServiceBatteries(); });
    }
    std::vector<PeripheralBattery> drivers() {
        return onWorker([this] { return batteries.readDriverBatteries(); });
    }
    bool awaitServices(const std::vector<PeripheralBattery>& expected) {
        return eventually([&] { return services() == expected; });
    }
    void subscribe() {
        subscription = batteries.subscribe([this] { ++events; });
    }
    void supply(const std::string& name, const std::string& file, const std::string& text) {
        sys.write("class/power_supply/" + name + '/' + file, text + '\n');
    }

    PrivateBus bus;
    TempDirectory sys;
    BluezQuery bluez{connect(), 10s};
    LinuxPeripheralBatteries batteries{bluez, connect(), sys.path().string()};
    int events = 0;
    std::unique_ptr<Subscription> subscription;
};

}  // namespace

TEST(UPowerPeripheral, isADeviceThatDoesNotFeedTheMachine) {
    using UPower = UPowerPeripherals;
    for (const auto& [type, isOne] : std::vector<std::pair<unsigned, bool>>{
             {0, false}, {1, false}, {2, true}, {3, false}, {4, false}, {5, true}, {6, true}, {28, true}})
        EXPECT_EQ(UPower::batteryOf(peripheral({{QStringLiteral("Type"), type}})).has_value(), isOne) << type;
    EXPECT_FALSE(UPower::batteryOf(peripheral({{QStringLiteral("PowerSupply"), true}})));
    EXPECT_FALSE(UPower::batteryOf(peripheral({{QStringLiteral("PowerSupply"), QStringLiteral("no")}})));
    EXPECT_FALSE(UPower::batteryOf(peripheral({{QStringLiteral("IsPresent"), false}})));
    EXPECT_FALSE(UPower::batteryOf({}));
}

TEST(UPowerPeripheral, hasItsPercentageTruncatedIfItIsKnown) {
    using UPower = UPowerPeripherals;
    const std::vector<std::pair<QVariant, std::optional<std::int64_t>>> rows = {
        {0.0, 0},
        {19.99, 19},
        {100.0, 100},
        {100.5, std::nullopt},
        {-1.0, std::nullopt},
        {50U, 50},
        {QStringLiteral("50"), std::nullopt}};
    for (const auto& [percentage, level] : rows) {
        const auto battery = UPower::batteryOf(peripheral({{QStringLiteral("Percentage"), percentage}}));
        EXPECT_EQ(battery ? battery->battery.batteryPercent : std::nullopt, level);
    }
    EXPECT_FALSE(UPower::batteryOf(peripheral({{QStringLiteral("BatteryLevel"), 0U}})));
    EXPECT_TRUE(UPower::batteryOf(peripheral({{QStringLiteral("BatteryLevel"), 4U}})));
}

TEST(UPowerPeripheral, hasTheAddressOfItsPathOrElseOfItsSerialNumber) {
    using UPower = UPowerPeripherals;
    const QString serial = QStringLiteral("Serial");
    const QString path = QStringLiteral("NativePath");
    const auto addressOf = [](const QVariantMap& others) {
        return UPower::batteryOf(peripheral(others))->battery.address;
    };
    EXPECT_EQ(addressOf({{serial, QStringLiteral("aa:bb:cc:dd:ee:ff")}}), "AA:BB:CC:DD:EE:FF");
    EXPECT_EQ(addressOf({{path, QStringLiteral("/org/bluez/hci0/dev_11_22_33_44_55_66")},
                         {serial, QStringLiteral("aa:bb:cc:dd:ee:ff")}}),
              "11:22:33:44:55:66");
    EXPECT_EQ(addressOf({{path, QStringLiteral("hid-11:22:33:44:55:66-battery")}}), "11:22:33:44:55:66");
    EXPECT_EQ(addressOf({{serial, QStringLiteral("4082-d8-01-02")}}), "");
}

TEST(UPowerPeripheral, hasNoNameWhereUPowerHasNone) {
    using UPower = UPowerPeripherals;
    EXPECT_EQ(UPower::batteryOf(peripheral())->battery.product, "Mouse");
    EXPECT_EQ(UPower::batteryOf(peripheral({{QStringLiteral("Model"), QString()}}))->battery.product,
              std::nullopt);
}

TEST_F(PeripheralBatteriesTest, withoutServicesAndDriversThereAreNone) {
    EXPECT_EQ(services(), std::vector<PeripheralBattery>{});
    EXPECT_EQ(drivers(), std::vector<PeripheralBattery>{});
}

TEST_F(PeripheralBatteriesTest, peripheralsComeChangeAndLeave) {
    const MockUPower upower(bus.address());
    subscribe();
    EXPECT_EQ(services(), std::vector<PeripheralBattery>{});
    upower.add(QStringLiteral("mouse"), peripheral());
    EXPECT_TRUE(awaitServices({{50, "Mouse"}}));
    upower.set(QStringLiteral("mouse"), {{QStringLiteral("Percentage"), 19.5}});
    EXPECT_TRUE(awaitServices({{19, "Mouse"}}));
    upower.remove(QStringLiteral("mouse"));
    EXPECT_TRUE(awaitServices({}));
    EXPECT_GE(events, 3);
}

TEST_F(PeripheralBatteriesTest, theMachinesOwnBatteryIsNoneAndItsChangesAreNoEvents) {
    const MockUPower upower(bus.address());
    upower.add(QStringLiteral("BAT0"), {{QStringLiteral("Percentage"), 80.0}});
    upower.add(QStringLiteral("mouse"), peripheral());
    subscribe();
    EXPECT_TRUE(awaitServices({{50, "Mouse"}}));
    events = 0;
    upower.set(QStringLiteral("BAT0"), {{QStringLiteral("Percentage"), 79.0}});
    upower.set(QStringLiteral("mouse"), {{QStringLiteral("UpdateTime"), 1ULL}});
    upower.set(QStringLiteral("mouse"), {{QStringLiteral("Percentage"), 49.0}});
    ASSERT_TRUE(eventually([this] { return events > 0; }));
    EXPECT_EQ(events, 1);
    EXPECT_EQ(services(), (std::vector<PeripheralBattery>{{49, "Mouse"}}));
}

TEST_F(PeripheralBatteriesTest, whileNothingChangesNobodyIsAsked) {
    const BusPeer peer(bus.address(), upowerName, [](const QDBusMessage& call) {
        return call.createReply(QVariant::fromValue(QList<QDBusObjectPath>()));
    });
    subscribe();
    onWorker([this] {
        for (int i = 0; i < 100; ++i) batteries.readServiceBatteries();
        return true;
    });
    EXPECT_EQ(peer.calls(), 1);
}

TEST_F(PeripheralBatteriesTest, aUPowerThatComesAndDiesIsNoticed) {
    subscribe();
    EXPECT_EQ(services(), std::vector<PeripheralBattery>{});
    auto upower = std::make_unique<MockUPower>(bus.address());
    upower->add(QStringLiteral("mouse"), peripheral());
    EXPECT_TRUE(awaitServices({{50, "Mouse"}}));
    upower.reset();
    EXPECT_TRUE(awaitServices({}));
}

TEST_F(PeripheralBatteriesTest, aUPowerThatAnswersNonsenseHasNone) {
    const BusPeer peer(bus.address(), upowerName, [](const QDBusMessage& call) {
        if (call.member() == QStringLiteral("GetAll")) return call.createReply(QStringLiteral("text"));
        return call.createReply(
            QVariant::fromValue(QList<QDBusObjectPath>{QDBusObjectPath(QStringLiteral("/a"))}));
    });
    subscribe();
    EXPECT_EQ(services(), std::vector<PeripheralBattery>{});
    EXPECT_EQ(services(), std::vector<PeripheralBattery>{});
    EXPECT_EQ(peer.calls(), 4);
}

TEST_F(PeripheralBatteriesTest, aDeviceThatRefusesHidesNoOther) {
    bool isRefusing = true;
    const BusPeer peer(bus.address(), upowerName, [&](const QDBusMessage& call) {
        if (call.member() != QStringLiteral("GetAll")) {
            QList<QDBusObjectPath> paths;
            for (const char* path : {"/a", "/b", "/c"}) paths.append(QDBusObjectPath(QLatin1String(path)));
            return call.createReply(QVariant::fromValue(paths));
        }
        if (call.path() == QStringLiteral("/b") && isRefusing)
            return call.createErrorReply(QDBusError::UnknownObject, QStringLiteral("it has just left"));
        return call.createReply(peripheral({{QStringLiteral("Model"), call.path()}}));
    });
    subscribe();
    EXPECT_EQ(services(), (std::vector<PeripheralBattery>{{50, "/a"}, {50, "/c"}}));
    EXPECT_EQ(peer.calls(), 4);
    isRefusing = false;
    EXPECT_EQ(services(), (std::vector<PeripheralBattery>{{50, "/a"}, {50, "/b"}, {50, "/c"}}));
    EXPECT_EQ(peer.calls(), 8);
    services();
    EXPECT_EQ(peer.calls(), 8);
}

TEST_F(PeripheralBatteriesTest, aBatteryThatUPowerToldOfIsNotReadAgain) {
    for (const std::string name : {"hidpp_battery_0", "hidpp_battery_1"}) {
        supply(name, "type", "Battery");
        supply(name, "scope", "Device");
        supply(name, "capacity", "70");
        supply(name, "model_name", name);
    }
    const MockUPower upower(bus.address());
    upower.add(QStringLiteral("mouse"), peripheral());
    EXPECT_EQ(services(), (std::vector<PeripheralBattery>{{50, "Mouse"}}));
    EXPECT_EQ(drivers(), (std::vector<PeripheralBattery>{{70, "hidpp_battery_1"}}));
    upower.remove(QStringLiteral("mouse"));
    EXPECT_EQ(services(), std::vector<PeripheralBattery>{});
    EXPECT_EQ(drivers().size(), 2u);
}

namespace {

/// The gatherer above the real sources.
class RealSourcesTest : public PeripheralBatteriesTest {
  protected:
    RealSourcesTest() {
        subscriptions.push_back(bluez.subscribe([] {}));
    }

    std::vector<BluetoothDevice> gather() {
        return onWorker([this] { return gatherer.gather({}); });
    }

    FakePlatform machine;
    LinuxBluetoothFallback fallback{sys.path().string(), "/usr/bin", [this] { return bluez.state(); }};
    SystemWaiter waiter;
    Platform platform{machine.clock,
                      waiter,
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
                      machine.powerSources,
                      machine.lowPower,
                      machine.powerChanges,
                      bluez,
                      fallback,
                      batteries,
                      machine.thermal,
                      machine.machineFacts,
                      machine.defaults,
                      machine.loginItem,
                      machine.notifications};
    BluetoothGatherer gatherer{platform};
    std::vector<std::unique_ptr<Subscription>> subscriptions;
};

}  // namespace

TEST_F(RealSourcesTest, oneMouseThatThreeSourcesTellOfIsOneDevice) {
    const MockBluez bluezMock(bus.address());
    bluezMock.add(mouse, QStringLiteral("Ann's Mouse"));
    bluezMock.connect(mouse);
    bluezMock.addBattery(mouse, 17);
    const ServiceProgram upower(
        bus.address(), upowerName, QStringLiteral("/usr/libexec/upowerd"), {},
        {QStringLiteral("UPOWER_HISTORY_DIR=") + QString::fromStdString(sys.file("history"))});
    ASSERT_TRUE(upower.isOnBus());
    supply("hid-11:22:33:44:55:66-battery", "type", "Battery");
    supply("hid-11:22:33:44:55:66-battery", "scope", "Device");
    supply("hid-11:22:33:44:55:66-battery", "capacity", "16");
    supply("hid-11:22:33:44:55:66-battery", "model_name", "Wireless Mouse");
    subscribe();
    gather();
    // The real one mirrors what BlueZ has.
    ASSERT_TRUE(eventually([this] { return services().size() == 2; }));
    EXPECT_EQ(services()[1], (PeripheralBattery{17, "Ann's Mouse", mouse.toStdString()}));
    EXPECT_EQ(gather(), (std::vector<BluetoothDevice>{{.name = "Ann's Mouse", .batteryLevel = 16}}));
}

TEST_F(RealSourcesTest, withoutUPowerTheLevelIsBluezOwn) {
    const MockBluez bluezMock(bus.address());
    bluezMock.add(mouse, QStringLiteral("Mouse"));
    bluezMock.connect(mouse);
    bluezMock.addBattery(mouse, 17);
    EXPECT_EQ(gather(), (std::vector<BluetoothDevice>{{.name = "Mouse", .batteryLevel = 17}}));
}

TEST_F(RealSourcesTest, aFrozenServiceLeavesTheKernelsDevicesUntilItGoesOn) {
    const MockBluez bluezMock(bus.address());
    bluezMock.add(mouse, QStringLiteral("Ann's Mouse"));
    bluezMock.connect(mouse);
    sys.write("bus/hid/devices/0005:046D:B012.0001/uevent",
              "HID_NAME=Wireless Mouse\nHID_UNIQ=11:22:33:44:55:66\n");
    bluezMock.freeze();
    EXPECT_EQ(gather(), (std::vector<BluetoothDevice>{{.name = "Wireless Mouse"}}));
    bluezMock.resume();
    const std::vector<BluetoothDevice> expected{{.name = "Ann's Mouse"}};
    EXPECT_TRUE(eventually([&] { return gather() == expected; }));
    bluezMock.freeze();
    EXPECT_EQ(gather(), expected);  // as it has told of no change, it is not asked
    bluezMock.resume();
}

TEST_F(RealSourcesTest, tenThousandRefreshesLeaveNoDescriptorBehind) {
    const BusPeer peer(bus.address(), upowerName, [](const QDBusMessage& call) {
        return call.createReply(QVariant::fromValue(QList<QDBusObjectPath>()));
    });
    supply("hid-1", "type", "Battery");
    supply("hid-1", "scope", "Device");
    supply("hid-1", "capacity_level", "Low");
    supply("hid-1", "model_name", "Mouse");
    const std::vector<BluetoothDevice> expected{{.name = "Mouse", .batteryLevel = 10}};
    subscribe();
    ASSERT_EQ(gather(), expected);
    const std::size_t before = openDescriptors();
    const bool isSame = onWorker([&] {
        bool same = true;
        for (int i = 0; i < 10'000; ++i) same = same && gatherer.gather({}) == expected;
        return same;
    });
    EXPECT_TRUE(isSame);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(peer.calls(), 1);
}

TEST_F(RealSourcesTest, theToolAsksTheService) {
    ASSERT_EQ(setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().toUtf8().constData(), 1), 0);
    const auto ask = [](std::chrono::milliseconds time) {
        return LinuxBluetoothFallback::askTool("/usr/bin", std::chrono::steady_clock::now() + time, {});
    };
    // Without the service it waits for ever.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(200ms), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);

    const MockBluez bluezMock(bus.address());
    bluezMock.add(mouse, QStringLiteral("Ann's Mouse"));
    bluezMock.connect(mouse);
    const auto devices = onWorker([&] { return ask(60s); });
    EXPECT_EQ(devices,
              (std::vector<ListedBluetoothDevice>{{.name = "Ann's Mouse", .address = mouse.toStdString()}}));
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}
