// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxPowerSource.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <QDBusConnection>
#include <QScopeGuard>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <utility>

#include "monitoring/collectors/BatteryMonitor.h"
#include "platform/OpenDescriptors.h"
#include "support/Eventually.h"
#include "support/FakePlatform.h"
#include "support/MockService.h"
#include "support/PrivateBus.h"
#include "support/PropertyPeer.h"
#include "support/TempDirectory.h"

using namespace corvanta;
using namespace corvanta::test;

namespace {

/// A percentage as the current part of a capacity of 200.
constexpr std::int64_t inHalves(std::int64_t percentage) {
    return 2 * percentage + 1;
}

const QString name = QStringLiteral("org.freedesktop.UPower");
const QString daemonPath = QStringLiteral("/org/freedesktop/UPower");
const QString displayPath = QStringLiteral("/org/freedesktop/UPower/devices/DisplayDevice");
const QString batteryPath = QStringLiteral("/org/freedesktop/UPower/devices/battery_BAT0");
const QString deviceInterface = QStringLiteral("org.freedesktop.UPower.Device");

/// The kernel's announcements, written by the test into a pipe, each closed by a newline.
class WrittenUevents final : public UeventSocket {
  public:
    explicit WrittenUevents(int descriptor) : UeventSocket(descriptor) {}

    Outcome receive(std::string_view& message) override {
        text_.clear();
        char c = 0;
        while (::read(descriptor(), &c, 1) == 1) {
            if (c == '\n') {
                message = text_;
                if (message == "lost") return Outcome::lost;
                return message == "failed" ? Outcome::failed : Outcome::message;
            }
            text_ += c == '|' ? '\0' : c;
        }
        return Outcome::none;
    }

  private:
    std::string text_;
};

class PowerSourceTest : public testing::Test {
  protected:
    PowerSourceTest() { EXPECT_EQ(pipe2(pipe_.data(), O_CLOEXEC | O_NONBLOCK), 0); }
    ~PowerSourceTest() override {
        for (const int end : pipe_) close(end);
    }

    BusService::Connect connect() {
        return [address = bus.address()] { return connectionTo(address, QStringLiteral("power")); };
    }
    LinuxPowerSource::OpenUevents openPipe() {
        return [this] {
            ++opened;
            return std::make_unique<WrittenUevents>(dup(pipe_[0]));
        };
    }
    void announce(const std::string& message) {
        EXPECT_EQ(::write(pipe_[1], (message + '\n').data(), message.size() + 1),
                  static_cast<ssize_t>(message.size() + 1));
    }

    std::vector<PowerSourceDescription> read() {
        return onWorker([&] { return source.readPowerSources(); });
    }
    PowerSourceDescription only() {
        const auto sources = read();
        EXPECT_EQ(sources.size(), 1U);
        return sources.empty() ? PowerSourceDescription{} : sources[0];
    }
    PowerReading reading() {
        auto sources = read();
        return {std::move(sources), source.readBatteryRegistry()};
    }
    BatteryRegistry registry() { return source.readBatteryRegistry().value_or(BatteryRegistry{}); }
    std::optional<BatteryDetails> details() {
        return onWorker([&] { return BatteryMonitor(source).getBatteryUsage(0); });
    }

    /// A laptop on its battery, as UPower tells it.
    void fill(PropertyPeer& peer) {
        peer.properties(daemonPath) = {{QStringLiteral("OnBattery"), true}};
        peer.properties(displayPath) = {{QStringLiteral("Type"), 2u},
                                        {QStringLiteral("IsPresent"), true},
                                        {QStringLiteral("Percentage"), 49.9},
                                        {QStringLiteral("State"), 2u},
                                        {QStringLiteral("TimeToEmpty"), 7275ll},
                                        {QStringLiteral("TimeToFull"), 0ll}};
        peer.properties(batteryPath) = {{QStringLiteral("Type"), 2u},
                                        {QStringLiteral("PowerSupply"), true},
                                        {QStringLiteral("ChargeCycles"), 312},
                                        {QStringLiteral("EnergyFull"), 48.5},
                                        {QStringLiteral("EnergyFullDesign"), 57.0}};
    }
    void addSysfsBattery(const std::string& capacity) {
        root.write("class/power_supply/BAT0/type", "Battery\n");
        root.write("class/power_supply/BAT0/status", "Discharging\n");
        root.write("class/power_supply/BAT0/capacity", capacity + "\n");
    }
    void addMains() {
        root.write("class/power_supply/AC/type", "Mains\n");
        root.write("class/power_supply/AC/online", "0\n");
    }
    /// Subscribes, and makes sure that signals are heard.
    void listen() {
        subscription = source.subscribe([this] { ++changes; });
        read();
    }
    bool heard(int count) {
        return eventually([&] { return changes >= count; });
    }

    PrivateBus bus;
    TempDirectory root;
    FakeClock clock;
    ManualExecutor executor;
    int opened = 0;
    int changes = 0;
    std::array<int, 2> pipe_{};
    LinuxPowerSource source{connect(), root.path().string(), clock, executor, openPipe()};
    std::unique_ptr<Subscription> subscription;
};

}  // namespace

TEST_F(PowerSourceTest, readsUPowersDisplayDeviceAndWhatTheBatteriesHaveCounted) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    EXPECT_EQ(only(), (PowerSourceDescription{.currentCapacity = inHalves(49),
                                              .maxCapacity = 200,
                                              .isCharging = false,
                                              .timeToFullCharge = -1,
                                              .timeToEmpty = 121,
                                              .powerSourceState = "Battery Power"}));
    EXPECT_EQ(registry(),
              (BatteryRegistry{.cycleCount = 312, .rawMaxCapacity = 48500, .designCapacity = 57000}));
    upower.properties(daemonPath)[QStringLiteral("OnBattery")] = false;
    upower.properties(displayPath)[QStringLiteral("State")] = 1u;
    EXPECT_EQ(only().isCharging, true);
    EXPECT_EQ(only().powerSourceState, "AC Power");
}

TEST_F(PowerSourceTest, onlyChargingCountsAsCharging) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    for (unsigned state = 0; state <= 7; ++state) {
        upower.properties(displayPath)[QStringLiteral("State")] = state;
        EXPECT_EQ(only().isCharging, state == 1) << state;
    }
}

TEST_F(PowerSourceTest, aDesktopsSupplyAgainstPowerCutsIsNoBattery) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    upower.properties(displayPath)[QStringLiteral("Type")] = 3u;
    EXPECT_EQ(details(), std::nullopt);
    upower.properties(displayPath)[QStringLiteral("Type")] = 2u;
    upower.properties(displayPath)[QStringLiteral("IsPresent")] = false;
    EXPECT_EQ(details(), std::nullopt);
}

TEST_F(PowerSourceTest, theMostUsedOwnBatteryHasTheCyclesAndAllHaveTheCapacities) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    const QString mouse = batteryPath + QStringLiteral("_a_mouse");
    const QString second = batteryPath + QStringLiteral("_second");
    upower.properties(mouse) = {{QStringLiteral("Type"), 2u},
                                {QStringLiteral("PowerSupply"), false},
                                {QStringLiteral("ChargeCycles"), 5000},
                                {QStringLiteral("EnergyFull"), 1.0},
                                {QStringLiteral("EnergyFullDesign"), 1.0}};
    upower.properties(second) = upower.properties(batteryPath);
    upower.properties(second)[QStringLiteral("ChargeCycles")] = 900;
    upower.properties(second)[QStringLiteral("EnergyFullDesign")] = 60.0004;
    read();
    EXPECT_EQ(registry(),
              (BatteryRegistry{.cycleCount = 900, .rawMaxCapacity = 97000, .designCapacity = 117000}));
    for (const int unknown : {0, -1}) {
        upower.properties(second)[QStringLiteral("ChargeCycles")] = unknown;
        read();
        EXPECT_EQ(registry().cycleCount, 312);
    }
    upower.properties(batteryPath)[QStringLiteral("ChargeCycles")] = 0;
    read();
    EXPECT_EQ(registry().cycleCount, std::nullopt);
    upower.properties(second)[QStringLiteral("EnergyFullDesign")] = 0.0;
    read();
    EXPECT_EQ(registry().rawMaxCapacity, 48500);
}

TEST_F(PowerSourceTest, aWrongTypeInAnyPropertyIsNoValue) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    const PowerReading sound = reading();
    ASSERT_EQ(sound.sources.size(), 1U);
    const auto withSource = [&](const std::function<void(PowerSourceDescription&)>& change) {
        PowerReading other = sound;
        change(other.sources.at(0));
        return other;
    };
    const auto withRegistry = [&](const BatteryRegistry& registry) {
        return PowerReading{sound.sources, registry};
    };
    struct Row {
        QString path;
        const char* property;
        PowerReading expected;
    };
    const PowerReading withoutCharge =
        withSource([](auto& battery) { battery.currentCapacity = battery.maxCapacity = std::nullopt; });
    const Row rows[] = {
        {daemonPath, "OnBattery", withSource([](auto& battery) { battery.powerSourceState.reset(); })},
        {displayPath, "Type", {{}, std::nullopt}},
        {displayPath, "IsPresent", {{}, std::nullopt}},
        {displayPath, "Percentage", withoutCharge},
        {displayPath, "State", withSource([](auto& battery) { battery.isCharging.reset(); })},
        {displayPath, "TimeToEmpty", withSource([](auto& battery) { battery.timeToEmpty.reset(); })},
        {displayPath, "TimeToFull", withSource([](auto& battery) { battery.timeToFullCharge.reset(); })},
        {batteryPath, "Type", withRegistry({})},
        {batteryPath, "PowerSupply", withRegistry({})},
        {batteryPath, "ChargeCycles", withRegistry({.rawMaxCapacity = 48500, .designCapacity = 57000})},
        {batteryPath, "EnergyFull", withRegistry({.cycleCount = 312})},
        {batteryPath, "EnergyFullDesign", withRegistry({.cycleCount = 312})},
    };
    for (const Row& row : rows) {
        QVariantMap& properties = upower.properties(row.path);
        const QString property = QString::fromLatin1(row.property);
        const QVariant right = properties.value(property);
        ASSERT_TRUE(right.isValid()) << row.property;
        for (const QVariant& wrong :
             {QVariant(QStringLiteral("text")), QVariant(QStringList()), QVariant(QVariantMap()),
              QVariant(std::nan("")), QVariant(HUGE_VAL), QVariant(std::numeric_limits<qulonglong>::max())}) {
            properties[property] = wrong;
            EXPECT_EQ(reading(), row.expected) << row.property << " as " << wrong.typeName();
        }
        properties[property] = right;
    }
    upower.listDevicesAs(QStringLiteral("text"));
    EXPECT_EQ(reading(), withRegistry({}));
}

TEST_F(PowerSourceTest, absurdFiguresStayFigures) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    for (const double figure : {1e300, -1e300, 250.0, -0.5}) {
        upower.properties(batteryPath)[QStringLiteral("EnergyFull")] = figure;
        EXPECT_EQ(details().value().percentage, 49);
    }
    for (const qlonglong seconds :
         {std::numeric_limits<qlonglong>::min(), std::numeric_limits<qlonglong>::max(), -1ll, 59ll}) {
        upower.properties(displayPath)[QStringLiteral("TimeToEmpty")] = seconds;
        EXPECT_EQ(details().value().timeRemaining, std::nullopt);
    }
}

TEST_F(PowerSourceTest, aPercentageBelowNoneOrAboveAllIsNone) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    for (const double percentage : {-1.0, 101.0, 255.0}) {
        upower.properties(displayPath)[QStringLiteral("Percentage")] = percentage;
        EXPECT_EQ(only().currentCapacity, std::nullopt) << percentage;
        EXPECT_EQ(only().maxCapacity, std::nullopt) << percentage;
    }
    for (const double percentage : {0.0, 100.0}) {
        upower.properties(displayPath)[QStringLiteral("Percentage")] = percentage;
        EXPECT_EQ(details().value().percentage, percentage);
    }
}

TEST_F(PowerSourceTest, aSteadyCycleAsksNothing) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    listen();
    read();  // what came while it began to listen has been seen now
    const int calls = upower.peer().calls();
    EXPECT_GT(calls, 0);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(only().currentCapacity, inHalves(49));
    EXPECT_EQ(upower.peer().calls(), calls);
    upower.change(displayPath, deviceInterface, QStringLiteral("Percentage"), 48.0);
    EXPECT_TRUE(eventually([&] { return only().currentCapacity == inHalves(48); }));
}

TEST_F(PowerSourceTest, withoutASubscriptionEachReadingAsks) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    read();
    upower.properties(displayPath)[QStringLiteral("Percentage")] = 48.0;
    EXPECT_EQ(only().currentCapacity, inHalves(48));
}

TEST_F(PowerSourceTest, aFallingBatteryIsFollowedWithoutAPowerChange) {
    const MockService upower(bus.address(), name, QStringLiteral("upower"));
    ASSERT_TRUE(upower.isOnBus()) << "python3-dbusmock is needed";
    const auto setUp = [&](double percentage) {
        upower.mock(
            daemonPath, QStringLiteral("SetupDisplayDevice"),
            {2u, 2u, percentage, percentage, 100.0, 9.0, 1200ll, 0ll, true, QStringLiteral("battery"), 1u});
    };
    setUp(30);
    listen();
    EXPECT_EQ(only().currentCapacity, inHalves(30));
    EXPECT_EQ(only().timeToEmpty, 20);
    ASSERT_TRUE(eventually([&] { return only().isCharging == false; }));
    changes = 0;
    upower.setProperty(displayPath, deviceInterface, QStringLiteral("Percentage"), 29.5);
    ASSERT_TRUE(eventually([&] { return only().currentCapacity == inHalves(29); }));
    EXPECT_EQ(changes, 0);
}

TEST_F(PowerSourceTest, pluggingInAndDevicesThatComeAndGoAreChanges) {
    const MockService upower(bus.address(), name, QStringLiteral("upower"));
    ASSERT_TRUE(upower.isOnBus()) << "python3-dbusmock is needed";
    listen();
    upower.setProperty(daemonPath, name, QStringLiteral("OnBattery"), true);
    EXPECT_TRUE(heard(1));
    upower.setProperty(displayPath, deviceInterface, QStringLiteral("State"), 1u);
    EXPECT_TRUE(heard(2));
    const QString path = upower
                             .mock(daemonPath, QStringLiteral("AddDischargingBattery"),
                                   {QStringLiteral("mock_BAT"), QStringLiteral("Mock"), 30.0, 1200ll})
                             .arguments()
                             .value(0)
                             .toString();
    EXPECT_TRUE(heard(3));
    upower.mock(daemonPath, QStringLiteral("RemoveDevice"), {QVariant::fromValue(QDBusObjectPath(path))});
    EXPECT_TRUE(heard(4));
    upower.setProperty(daemonPath, name, QStringLiteral("LidIsClosed"), true);
    upower.setProperty(daemonPath, name, QStringLiteral("OnBattery"), false);
    EXPECT_TRUE(heard(5));
    EXPECT_EQ(changes, 5);
}

TEST_F(PowerSourceTest, aChangeThatComesWithoutItsValueIsOne) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    listen();
    upower.announce(batteryPath, deviceInterface, {}, {QStringLiteral("State")});
    upower.announce(displayPath, deviceInterface, {}, {QStringLiteral("State")});
    EXPECT_TRUE(heard(1));
    upower.announce(daemonPath, name, {}, {QStringLiteral("OnBattery")});
    EXPECT_TRUE(heard(2));
    EXPECT_EQ(changes, 2);
}

TEST_F(PowerSourceTest, anEndedSubscriptionHearsNothingMore) {
    PropertyPeer upower(bus.address(), name);
    fill(upower);
    int others = 0;
    const auto other = source.subscribe([&] { ++others; });
    listen();
    subscription.reset();
    upower.announce(daemonPath, name, {}, {QStringLiteral("OnBattery")});
    EXPECT_TRUE(eventually([&] { return others == 1; }));
    EXPECT_EQ(changes, 0);
}

TEST_F(PowerSourceTest, whenUPowerIsAbsentSilentOrRefusesTheKernelTells) {
    addSysfsBattery("70");
    EXPECT_EQ(only().currentCapacity, inHalves(70));
    {
        PropertyPeer upower(bus.address(), name);
        fill(upower);
        LinuxPowerSource fresh(connect(), root.path().string(), clock, executor, openPipe());
        EXPECT_EQ(onWorker([&] { return fresh.readPowerSources(); }).at(0).currentCapacity, inHalves(49));
        upower.refuse();
        EXPECT_EQ(onWorker([&] { return fresh.readPowerSources(); }).at(0).currentCapacity, inHalves(70));
        upower.fallSilent();
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(onWorker([&] { return fresh.readPowerSources(); }).at(0).currentCapacity, inHalves(70));
        EXPECT_GE(std::chrono::steady_clock::now() - before, BusService::callLimit / 2);
        const int calls = upower.peer().calls();
        EXPECT_EQ(onWorker([&] { return fresh.readPowerSources(); }).at(0).currentCapacity, inHalves(70));
        EXPECT_EQ(upower.peer().calls(), calls);  // left alone for a while
    }
}

TEST_F(PowerSourceTest, aUPowerThatAnswersNonsenseIsNone) {
    addSysfsBattery("70");
    BusPeer upower(bus.address(), name,
                   [](const QDBusMessage& call) { return call.createReply(QStringLiteral("nonsense")); });
    EXPECT_EQ(only().currentCapacity, inHalves(70));
}

TEST_F(PowerSourceTest, aUPowerThatDiesInTheMiddleOfACallAndComesBackIsFollowed) {
    addSysfsBattery("70");
    auto upower = std::make_unique<PropertyPeer>(bus.address(), name);
    fill(*upower);
    listen();
    EXPECT_EQ(only().currentCapacity, inHalves(49));
    upower->fallSilent();
    upower->announce(displayPath, deviceInterface, {{QStringLiteral("Percentage"), 40.0}}, {});
    const int calls = upower->peer().calls();
    std::atomic<bool> mustStop = false;
    auto reading = std::async(std::launch::async, [&] {
        std::vector<PowerSourceDescription> sources;
        // The signal makes one of these ask.
        while (!mustStop) {
            sources = source.readPowerSources();
            if (sources.size() == 1 && sources[0].currentCapacity != inHalves(49)) break;
        }
        return sources;
    });
    const auto stop = qScopeGuard([&] { mustStop = true; });
    ASSERT_TRUE(eventually([&] { return upower->peer().calls() > calls; }));
    upower->peer().leave();
    ASSERT_TRUE(
        eventually([&] { return reading.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_EQ(reading.get().at(0).currentCapacity, inHalves(70));
    upower = std::make_unique<PropertyPeer>(bus.address(), name);
    fill(*upower);
    EXPECT_TRUE(eventually([&] { return only().currentCapacity == inHalves(49); }));
}

TEST_F(PowerSourceTest, theKernelIsHeardOnlyWhileUPowerIsAway) {
    addSysfsBattery("70");
    EXPECT_EQ(only().currentCapacity, inHalves(70));
    EXPECT_EQ(executor.runQueued(), 0);  // for nobody
    listen();
    EXPECT_EQ(executor.runQueued(), 1);
    EXPECT_EQ(opened, 1);
    announce("change@/devices/BAT0|SUBSYSTEM=power_supply|POWER_SUPPLY_NAME=BAT0|POWER_SUPPLY_STATUS=Full");
    EXPECT_TRUE(heard(1));
    announce("change@/devices/BAT0|SUBSYSTEM=power_supply|POWER_SUPPLY_NAME=BAT0|POWER_SUPPLY_STATUS=Full");
    announce("change@/devices/eth0|SUBSYSTEM=net");
    announce("change@/devices/AC|SUBSYSTEM=power_supply|POWER_SUPPLY_NAME=AC|POWER_SUPPLY_ONLINE=1");
    EXPECT_TRUE(heard(2));
    EXPECT_EQ(changes, 2);
    announce("lost");
    EXPECT_TRUE(heard(3));

    PropertyPeer upower(bus.address(), name);
    fill(upower);
    ASSERT_TRUE(eventually([&] { return only().currentCapacity == inHalves(49); }));
    EXPECT_EQ(executor.runQueued(), 1);
    announce("change@/devices/AC|SUBSYSTEM=power_supply|POWER_SUPPLY_NAME=AC|POWER_SUPPLY_ONLINE=0");
    upower.change(daemonPath, name, QStringLiteral("OnBattery"), false);
    EXPECT_TRUE(heard(4));
    EXPECT_EQ(changes, 4);
    EXPECT_EQ(opened, 1);
}

TEST_F(PowerSourceTest, theKernelIsHeardOnlyOnAMachineWithSuppliesOfItsOwn) {
    const std::string supplies = "class/power_supply/";
    root.write(supplies + "mouse/type", "Battery\n");
    root.write(supplies + "mouse/scope", "Device\n");
    root.write(supplies + "ups/type", "UPS\n");
    listen();
    EXPECT_EQ(executor.queued(), 0U);
    addMains();
    clock.advance(SysfsPowerSource::listInterval);
    read();
    EXPECT_EQ(executor.runQueued(), 1);
    EXPECT_EQ(opened, 1);
    std::filesystem::remove_all(root.file(supplies + "AC"));
    clock.advance(SysfsPowerSource::listInterval);
    read();
    EXPECT_EQ(executor.runQueued(), 1);
    announce("add@/devices/BAT0|SUBSYSTEM=power_supply|POWER_SUPPLY_NAME=BAT0");
    EXPECT_FALSE(eventually([&] { return changes > 0; }, 100));
    addSysfsBattery("70");
    clock.advance(SysfsPowerSource::listInterval);
    read();
    executor.runQueued();
    EXPECT_TRUE(heard(1));
}

TEST_F(PowerSourceTest, anAnnouncementHasTheFolderListedAnew) {
    addMains();
    listen();
    executor.runQueued();
    EXPECT_TRUE(read().empty());
    addSysfsBattery("70");
    EXPECT_TRUE(read().empty());
    announce("add@/devices/BAT0|SUBSYSTEM=power_supply|POWER_SUPPLY_NAME=BAT0");
    ASSERT_TRUE(heard(1));
    EXPECT_EQ(only().currentCapacity, inHalves(70));
}

TEST_F(PowerSourceTest, aSocketThatFailsIsReplacedAfterThirtySeconds) {
    addMains();
    listen();
    executor.runQueued();
    announce("add@/devices/BAT0|SUBSYSTEM=power_supply|POWER_SUPPLY_NAME=BAT0");
    announce("failed");
    EXPECT_TRUE(heard(1));
    announce("add@/devices/BAT0|SUBSYSTEM=power_supply|POWER_SUPPLY_NAME=BAT0");
    EXPECT_FALSE(eventually([&] { return changes > 1; }, 100));
    clock.advance(29.9);
    read();
    EXPECT_EQ(executor.queued(), 0U);
    clock.advance(0.1);
    read();
    read();
    EXPECT_EQ(executor.runQueued(), 1);
    EXPECT_EQ(opened, 2);
    EXPECT_TRUE(heard(2));
}

TEST_F(PowerSourceTest, theRealUPowerTellsALaptopOnItsBattery) {
    const TempDirectory folder;
    const QString temporary = QString::fromStdString(folder.path().string());
    const ServiceProgram upower(
        bus.address(), name, QStringLiteral("umockdev-run"),
        {QStringLiteral("--device"), QStringLiteral(CORVANTA_FIXTURES "/power/laptop.umockdev"),
         QStringLiteral("--"), QStringLiteral("/usr/libexec/upowerd")},
        {QStringLiteral("UPOWER_HISTORY_DIR=") + temporary, QStringLiteral("TMPDIR=") + temporary});
    ASSERT_TRUE(upower.isOnBus()) << "upower and umockdev are needed";
    listen();
    ASSERT_TRUE(eventually([&] { return !read().empty(); }));
    EXPECT_EQ(details(), (BatteryDetails{.percentage = 50,
                                         .isCharging = false,
                                         .isPluggedIn = false,
                                         .timeRemaining = 121,
                                         .cycleCount = 312,
                                         .healthPercent = 85}));
    LinuxPowerSource unheard(connect(), root.path().string(), clock, executor, openPipe());
    ASSERT_FALSE(onWorker([&] { return unheard.readPowerSources(); }).empty());
    const auto before = openDescriptors();
    // Without a subscription each of these asks.
    const auto found = onWorker([&] {
        std::size_t sources = 0;
        for (int i = 0; i < 10'000; ++i) sources += unheard.readPowerSources().size();
        return sources;
    });
    EXPECT_EQ(found, 10'000U);
    EXPECT_EQ(openDescriptors(), before);
}
