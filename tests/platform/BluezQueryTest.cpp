// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/BluezQuery.h"

#include <gtest/gtest.h>

#include <QDBusError>
#include <QDBusMetaType>
#include <utility>

#include "MockBluez.h"
#include "support/Eventually.h"
#include "support/PrivateBus.h"

using namespace corvanta;
using namespace corvanta::test;
using namespace std::chrono_literals;

namespace {

using Devices = std::optional<std::vector<PairedBluetoothDevice>>;
using SentInterfaces = QMap<QString, QVariantMap>;
using SentObjects = QMap<QDBusObjectPath, SentInterfaces>;

const QString service = QStringLiteral("org.bluez");
const QString deviceInterface = QStringLiteral("org.bluez.Device1");
const QString batteryInterface = QStringLiteral("org.bluez.Battery1");
const QString connectedProperty = QStringLiteral("Connected");
const QString percentageProperty = QStringLiteral("Percentage");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString propertiesChanged = QStringLiteral("PropertiesChanged");
const QString objectManager = QStringLiteral("org.freedesktop.DBus.ObjectManager");
const QString interfacesAdded = QStringLiteral("InterfacesAdded");
const QString interfacesRemoved = QStringLiteral("InterfacesRemoved");
const QString mouse = QStringLiteral("11:22:33:44:55:66");
const QString headset = QStringLiteral("AA:BB:CC:DD:EE:FF");

PairedBluetoothDevice device(std::string name, bool isConnected, const QString& address) {
    return {.name = std::move(name), .isConnected = isConnected, .address = address.toStdString()};
}

BusPeer::Answer replies(const QVariant& value) {
    return [value](const QDBusMessage& call) { return call.createReply(value); };
}
QVariant objects(const SentObjects& sent) {
    qDBusRegisterMetaType<SentInterfaces>();
    qDBusRegisterMetaType<SentObjects>();
    return QVariant::fromValue(sent);
}
QVariant oneDevice(const QVariantMap& properties, const QVariantMap& battery = {}) {
    SentInterfaces interfaces{{QStringLiteral("org.bluez.Device1"), properties}};
    if (!battery.isEmpty()) interfaces[QStringLiteral("org.bluez.Battery1")] = battery;
    return objects({{QDBusObjectPath(MockBluez::pathOf(mouse)), interfaces}});
}

void announce(BusPeer& peer, const QString& path, const SentInterfaces& interfaces) {
    qDBusRegisterMetaType<SentInterfaces>();
    peer.emitSignal(QStringLiteral("/"), objectManager, interfacesAdded,
                    {QVariant::fromValue(QDBusObjectPath(path)), QVariant::fromValue(interfaces)});
}
void withdraw(BusPeer& peer, const QString& path, const QStringList& interfaces) {
    peer.emitSignal(QStringLiteral("/"), objectManager, interfacesRemoved,
                    {QVariant::fromValue(QDBusObjectPath(path)), interfaces});
}

Devices devicesOf(const std::optional<BluetoothAnswer>& answer) {
    return answer ? Devices(answer->devices) : std::nullopt;
}

class BluezQueryTest : public testing::Test {
  protected:
    BusService::Connect connect() {
        return [address = bus.address()] { return connectionTo(address, QStringLiteral("service")); };
    }
    Devices ask() {
        return devicesOf(onWorker([this] { return query.pairedDevices(); }));
    }
    Devices known() {
        return devicesOf(onWorker([this] { return query.knownDevices(); }));
    }
    /// After the next event that the query tells of.
    bool awaitEvent() {
        const int before = std::exchange(seenEvents, events);
        if (before != events) return true;
        const bool hasCome = eventually([&] { return events > seenEvents; });
        seenEvents = events;
        return hasCome;
    }
    void subscribe() {
        subscription = query.subscribe([this] { ++events; });
    }

    PrivateBus bus;
    BluezQuery query{connect(), 10s};
    int events = 0;
    int seenEvents = 0;
    std::unique_ptr<Subscription> subscription;
};

}  // namespace

TEST_F(BluezQueryTest, devicesComeWithTheirAliasStateAndAddress) {
    const MockBluez bluez(bus.address());
    bluez.add(mouse, QStringLiteral("MX Mouse"));
    bluez.add(headset, QStringLiteral("Kopfhörer"));
    bluez.connect(mouse);
    EXPECT_EQ(ask(), (std::vector{device("MX Mouse", true, mouse), device("Kopfhörer", false, headset)}));
    EXPECT_EQ(query.state(), BluetoothServiceState::answers);
    EXPECT_EQ(query.batteries(), std::vector<PeripheralBattery>{});
}

TEST_F(BluezQueryTest, withoutTheServiceThereIsNoAnswer) {
    EXPECT_EQ(query.state(), BluetoothServiceState::fails);  // not asked yet
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_EQ(query.state(), BluetoothServiceState::isAbsent);
    EXPECT_EQ(known(), std::nullopt);  // nobody listens for its coming
}

TEST_F(BluezQueryTest, anAbsentServiceIsKnownToBeAbsentUntilItComes) {
    subscribe();
    EXPECT_EQ(known(), std::nullopt);
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_EQ(query.knownDevices(), BluetoothAnswer{});  // and so not certain to have no devices
    auto bluez = std::make_unique<MockBluez>(bus.address());
    ASSERT_TRUE(awaitEvent());
    EXPECT_EQ(known(), std::nullopt);
    EXPECT_EQ(ask(), Devices(std::in_place));
    EXPECT_EQ(query.state(), BluetoothServiceState::answers);
    seenEvents = events;
    bluez.reset();
    ASSERT_TRUE(awaitEvent());
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_EQ(query.state(), BluetoothServiceState::isAbsent);
}

TEST_F(BluezQueryTest, whatIsKnownLastsUntilTheServiceTellsOfAChange) {
    const MockBluez bluez(bus.address());
    bluez.add(mouse, QStringLiteral("MX Mouse"));
    subscribe();
    ask();
    seenEvents = events;
    // One after the other, each of these is a change that makes it ask again.
    const std::vector<std::pair<std::function<void()>, Devices>> rows = {
        {[&] { bluez.connect(mouse); }, std::vector{device("MX Mouse", true, mouse)}},
        {[&] { bluez.rename(mouse, QStringLiteral("Ann's")); }, std::vector{device("Ann's", true, mouse)}},
        {[&] {
             bluez.add(headset, QStringLiteral("Headset"));
             bluez.connect(headset);
         },
         std::vector{device("Ann's", true, mouse), device("Headset", true, headset)}},
        {[&] { bluez.disconnect(mouse); },
         std::vector{device("Ann's", false, mouse), device("Headset", true, headset)}},
        {[&] { bluez.remove(headset); }, std::vector{device("Ann's", false, mouse)}}};
    for (const auto& [change, devices] : rows) {
        EXPECT_TRUE(known());
        change();
        ASSERT_TRUE(awaitEvent());
        EXPECT_EQ(known(), std::nullopt);
        EXPECT_EQ(ask(), devices);
        EXPECT_EQ(known(), devices);
        eventually([&] { return std::exchange(seenEvents, events) == events; });
    }
}

TEST_F(BluezQueryTest, aBatterysLevelIsToldOfConnectedDevices) {
    const MockBluez bluez(bus.address());
    for (const auto& address : {mouse, headset}) bluez.add(address, address);
    bluez.connect(mouse);
    subscribe();
    ask();
    seenEvents = events;
    for (const auto& address : {mouse, headset}) bluez.addBattery(address, 17);
    ASSERT_TRUE(awaitEvent());
    ask();
    const std::string name = mouse.toStdString();
    EXPECT_EQ(query.batteries(), (std::vector<PeripheralBattery>{{17, name, name}}));
    bluez.setBattery(mouse, 12);
    ASSERT_TRUE(eventually([&] {
        ask();
        return query.batteries() == std::vector<PeripheralBattery>{{12, name, name}};
    }));
}

TEST_F(BluezQueryTest, whileNothingChangesNobodyIsAsked) {
    BusPeer peer(bus.address(), service, replies(objects({})));
    subscribe();
    ask();
    EXPECT_EQ(peer.calls(), 1);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(devicesOf(query.knownDevices()), Devices(std::in_place));
    // What is about other things is no change.
    peer.emitSignal(MockBluez::pathOf(mouse), propertiesInterface, propertiesChanged,
                    {QStringLiteral("org.bluez.Device1"),
                     QVariantMap{{QStringLiteral("RSSI"), QVariant::fromValue<short>(-40)}}, QStringList()});
    peer.emitSignal(MockBluez::pathOf(mouse), propertiesInterface, propertiesChanged,
                    {QStringLiteral("nonsense")});
    EXPECT_EQ(events, 0);
    peer.emitSignal(
        MockBluez::pathOf(mouse), propertiesInterface, propertiesChanged,
        {QStringLiteral("org.bluez.Device1"), QVariantMap(), QStringList{QStringLiteral("Connected")}});
    ASSERT_TRUE(awaitEvent());
    EXPECT_EQ(events, 1);
    EXPECT_EQ(query.knownDevices(), std::nullopt);
    EXPECT_EQ(peer.calls(), 1);
}

TEST_F(BluezQueryTest, whatTheServiceSaysIsCertain) {
    const BusPeer peer(bus.address(), service, replies(objects({})));
    subscribe();
    const BluetoothAnswer nothing{.isCertain = true};
    EXPECT_EQ(onWorker([this] { return query.pairedDevices(); }), nothing);
    EXPECT_EQ(query.knownDevices(), nothing);
}

TEST_F(BluezQueryTest, whatIsFoundAndForgottenByLookingAroundIsNoChange) {
    BusPeer peer(bus.address(), service,
                 replies(oneDevice({{connectedProperty, true}}, {{percentageProperty, 50}})));
    subscribe();
    ask();
    for (int i = 0; i < 1000; ++i) {
        const QString stranger = QStringLiteral("/org/bluez/hci0/dev_%1").arg(i);
        announce(peer, stranger,
                 {{deviceInterface, {{connectedProperty, i % 2 == 0 ? QVariant(false) : 1}}}});
        peer.emitSignal(stranger, propertiesInterface, propertiesChanged,
                        {deviceInterface, QVariantMap{{QStringLiteral("Alias"), stranger}}, QStringList()});
        withdraw(peer, stranger, {deviceInterface});
    }
    // Nor is another side of a device that counts, nor what no one can read.
    announce(peer, MockBluez::pathOf(mouse), {{QStringLiteral("org.bluez.MediaControl1"), {}}});
    withdraw(peer, MockBluez::pathOf(mouse), {QStringLiteral("org.bluez.MediaControl1")});
    for (const QString& member : {interfacesAdded, interfacesRemoved})
        peer.emitSignal(QStringLiteral("/"), objectManager, member, {QStringLiteral("nonsense")});

    announce(peer, MockBluez::pathOf(headset), {{deviceInterface, {{connectedProperty, true}}}});
    ASSERT_TRUE(awaitEvent());
    EXPECT_EQ(events, 1);
    announce(peer, MockBluez::pathOf(headset), {{batteryInterface, {{percentageProperty, 50}}}});
    ASSERT_TRUE(awaitEvent());
    withdraw(peer, MockBluez::pathOf(mouse), {batteryInterface});
    ASSERT_TRUE(awaitEvent());
    withdraw(peer, MockBluez::pathOf(mouse), {deviceInterface});
    ASSERT_TRUE(awaitEvent());
    EXPECT_EQ(events, 4);
}

TEST_F(BluezQueryTest, aDeviceThatLeavesWhileAQuestionIsOpenIsAChange) {
    BusPeer peer(bus.address(), service, [](const QDBusMessage&) { return QDBusMessage(); });
    subscribe();
    auto answer = std::async(std::launch::async, [this] { return query.pairedDevices(); });
    ASSERT_TRUE(eventually([&] { return peer.calls() == 1; }));
    withdraw(peer, MockBluez::pathOf(mouse), {deviceInterface});
    EXPECT_TRUE(awaitEvent());
    EXPECT_EQ(events, 1);
    peer.leave();
    onWorker([&] { return answer.get(); });
}

TEST_F(BluezQueryTest, whileAQuestionIsOpenNoLevelIsTold) {
    BusPeer peer(bus.address(), service,
                 replies(oneDevice({{connectedProperty, true}}, {{percentageProperty, 50}})));
    ask();
    ASSERT_EQ(query.batteries().size(), 1U);
    peer.setAnswer([](const QDBusMessage&) { return QDBusMessage(); });
    auto answer = std::async(std::launch::async, [this] { return query.pairedDevices(); });
    ASSERT_TRUE(eventually([&] { return peer.calls() == 2; }));
    EXPECT_EQ(query.batteries(), std::vector<PeripheralBattery>{});
    peer.leave();
    onWorker([&] { return answer.get(); });
}

TEST_F(BluezQueryTest, withoutASubscriptionNothingIsKnown) {
    const BusPeer peer(bus.address(), service, replies(objects({})));
    EXPECT_EQ(ask(), Devices(std::in_place));
    EXPECT_EQ(known(), std::nullopt);
    subscribe();
    EXPECT_EQ(known(), std::nullopt);
    ask();
    EXPECT_EQ(known(), Devices(std::in_place));
    subscription.reset();
    EXPECT_EQ(known(), std::nullopt);
}

TEST_F(BluezQueryTest, aServiceThatHangsFailsWithinTheLimit) {
    const BusPeer peer(bus.address(), service, [](const QDBusMessage&) { return QDBusMessage(); });
    BluezQuery hasty(connect(), 50ms);
    const auto hastyEvents = hasty.subscribe([] {});
    EXPECT_EQ(onWorker([&] { return hasty.pairedDevices(); }), std::nullopt);
    EXPECT_EQ(hasty.state(), BluetoothServiceState::fails);
    EXPECT_EQ(onWorker([&] { return hasty.knownDevices(); }), std::nullopt);
    // Left alone for a while.
    EXPECT_EQ(onWorker([&] { return hasty.pairedDevices(); }), std::nullopt);
    EXPECT_EQ(hasty.state(), BluetoothServiceState::fails);
    EXPECT_EQ(peer.calls(), 1);
}

TEST_F(BluezQueryTest, aServiceThatDiesInTheMiddleOfACallIsAbsent) {
    BusPeer peer(bus.address(), service, [](const QDBusMessage&) { return QDBusMessage(); });
    auto answer = std::async(std::launch::async, [this] { return query.pairedDevices(); });
    ASSERT_TRUE(eventually([&] { return peer.calls() == 1; }));
    peer.leave();
    EXPECT_EQ(onWorker([&] { return answer.get(); }), std::nullopt);
    EXPECT_EQ(query.state(), BluetoothServiceState::isAbsent);
}

TEST_F(BluezQueryTest, aRefusalAndNonsenseAreFailures) {
    BusPeer peer(bus.address(), service, [](const QDBusMessage& call) {
        return call.createErrorReply(QDBusError::AccessDenied, QStringLiteral("no"));
    });
    subscribe();
    for (const auto& answer :
         {BusPeer::Answer(), replies(QStringLiteral("text")), replies(QVariantMap()), replies(7)}) {
        if (answer) peer.setAnswer(answer);
        EXPECT_EQ(ask(), std::nullopt);
        EXPECT_EQ(query.state(), BluetoothServiceState::fails);
        EXPECT_EQ(known(), std::nullopt);
    }
}

TEST_F(BluezQueryTest, propertiesOfOtherTypesAreNotThere) {
    BusPeer peer(bus.address(), service,
                 replies(oneDevice({{QStringLiteral("Alias"), 7},
                                    {QStringLiteral("Connected"), QStringLiteral("yes")},
                                    {QStringLiteral("Address"), QStringLiteral("elsewhere")}})));
    EXPECT_EQ(ask(), (std::vector<PairedBluetoothDevice>{{}}));
    for (const QVariant& level :
         {QVariant(QStringLiteral("17")), QVariant(17.5), QVariant(101), QVariant(-1)}) {
        peer.setAnswer(replies(oneDevice(
            {{QStringLiteral("Alias"), QStringLiteral("Mouse")}, {QStringLiteral("Connected"), true}},
            {{QStringLiteral("Percentage"), level}})));
        EXPECT_EQ(ask(), (std::vector<PairedBluetoothDevice>{{.name = "Mouse", .isConnected = true}}));
        EXPECT_EQ(query.batteries(), std::vector<PeripheralBattery>{});
    }
}
