// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxLowPowerSource.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusVariant>
#include <QScopeGuard>
#include <atomic>
#include <filesystem>

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

struct Names {
    QString bus;
    QString path;
    QString interface;
};
const Names current{QStringLiteral("org.freedesktop.UPower.PowerProfiles"),
                    QStringLiteral("/org/freedesktop/UPower/PowerProfiles"),
                    QStringLiteral("org.freedesktop.UPower.PowerProfiles")};
const Names former{QStringLiteral("net.hadess.PowerProfiles"), QStringLiteral("/net/hadess/PowerProfiles"),
                   QStringLiteral("net.hadess.PowerProfiles")};
const Names portal{QStringLiteral("org.freedesktop.portal.Desktop"),
                   QStringLiteral("/org/freedesktop/portal/desktop"),
                   QStringLiteral("org.freedesktop.portal.PowerProfileMonitor")};
const QString activeProfile = QStringLiteral("ActiveProfile");
const QString degraded = QStringLiteral("PerformanceDegraded");
const QString saver = QStringLiteral("power-saver");
const QString balanced = QStringLiteral("balanced");
const QString saverEnabled = QStringLiteral("power-saver-enabled");

class LowPowerSourceTest : public testing::Test {
  protected:
    BusService::Connect connect() {
        return [address = bus.address()] { return connectionTo(address, QStringLiteral("profiles")); };
    }
    bool refreshed() {
        onWorker([&] {
            source.refresh();
            return 0;
        });
        return source.isLowPowerModeEnabled();
    }
    void listen() {
        subscription = source.subscribe([this] { heard.push_back(source.isLowPowerModeEnabled()); });
        refreshed();
        executor.runQueued();
        heard.clear();
    }
    bool awaitHeard(const std::vector<bool>& flags) {
        return eventually([&] { return heard == flags; });
    }
    static void setProfile(PropertyPeer& peer, const Names& names, const QString& profile) {
        peer.change(names.path, names.interface, activeProfile, profile);
    }

    PrivateBus bus;
    TempDirectory root;
    ManualExecutor executor;
    std::vector<bool> heard;  // the flag, as each handler saw it
    LinuxLowPowerSource source{connect(), connect(), root.path().string(), executor};
    std::unique_ptr<Subscription> subscription;
};

}  // namespace

TEST_F(LowPowerSourceTest, withoutAnyServiceOrProfileItIsOff) {
    EXPECT_FALSE(source.isLowPowerModeEnabled());
    EXPECT_FALSE(refreshed());
    EXPECT_FALSE(source.isPerformanceDegraded());
}

TEST_F(LowPowerSourceTest, followsTheServiceUnderItsFormerName) {
    const MockService profiles(bus.address(), former.bus, QStringLiteral("power_profiles_daemon"));
    ASSERT_TRUE(profiles.isOnBus()) << "python3-dbusmock is needed";
    listen();
    EXPECT_FALSE(source.isLowPowerModeEnabled());
    profiles.setProperty(former.path, former.interface, activeProfile, saver);
    EXPECT_TRUE(awaitHeard({true}));
    profiles.setProperty(former.path, former.interface, activeProfile, QStringLiteral("performance"));
    EXPECT_TRUE(awaitHeard({true, false}));
    profiles.setProperty(former.path, former.interface, degraded, QStringLiteral("lap-detected"));
    profiles.setProperty(former.path, former.interface, activeProfile, saver);
    EXPECT_TRUE(awaitHeard({true, false, true}));
    EXPECT_FALSE(source.isPerformanceDegraded());
    profiles.setProperty(former.path, former.interface, degraded,
                         QStringLiteral("high-operating-temperature"));
    EXPECT_TRUE(eventually([&] { return source.isPerformanceDegraded(); }));
    EXPECT_TRUE(refreshed());
    EXPECT_EQ(heard.size(), 3U);  // once for each change of the flag, and for nothing else
    EXPECT_EQ(executor.queued(), 0U);
}

TEST_F(LowPowerSourceTest, followsTheServiceUnderItsCurrentName) {
    const MockService profiles(bus.address(), current.bus, current.path, current.interface);
    ASSERT_TRUE(profiles.isOnBus()) << "python3-dbusmock is needed";
    profiles.mock(current.path, QStringLiteral("AddProperties"),
                  {current.interface, QVariantMap{{activeProfile, saver}, {degraded, QString()}}});
    EXPECT_TRUE(refreshed());
    listen();
    profiles.setProperty(current.path, current.interface, activeProfile, balanced);
    EXPECT_TRUE(awaitHeard({false}));
}

TEST_F(LowPowerSourceTest, theCurrentNameGoesFirstUntilItLeaves) {
    auto first = std::make_unique<PropertyPeer>(bus.address(), current.bus);
    PropertyPeer second(bus.address(), former.bus);
    first->properties(current.path) = {{activeProfile, balanced}};
    second.properties(former.path) = {{activeProfile, saver}};
    listen();
    EXPECT_FALSE(refreshed());
    EXPECT_EQ(second.peer().calls(), 0);
    first.reset();
    EXPECT_TRUE(eventually([&] { return refreshed(); }));
    EXPECT_EQ(executor.runQueued(), 1);
    EXPECT_EQ(heard, std::vector<bool>{true});
    first = std::make_unique<PropertyPeer>(bus.address(), current.bus);
    first->properties(current.path) = {{activeProfile, balanced}};
    EXPECT_TRUE(eventually([&] { return !refreshed(); }));
}

TEST_F(LowPowerSourceTest, anotherProfileIsNotTheSaver) {
    PropertyPeer profiles(bus.address(), former.bus);
    for (const char* profile : {"balanced", "performance", "", "Power-Saver", "power-saver "}) {
        profiles.properties(former.path) = {{activeProfile, QString::fromLatin1(profile)}};
        EXPECT_FALSE(refreshed()) << profile;
    }
    profiles.properties(former.path) = {{activeProfile, saver}};
    EXPECT_TRUE(refreshed());
}

TEST_F(LowPowerSourceTest, aWrongTypeIsNoWord) {
    PropertyPeer profiles(bus.address(), former.bus);
    PropertyPeer desktop(bus.address(), portal.bus);
    for (const QVariant& wrong : {QVariant(1), QVariant(true), QVariant(QStringList{saver}),
                                  QVariant(QVariantMap()), QVariant(1.5)}) {
        profiles.properties(former.path) = {{activeProfile, wrong}, {degraded, wrong}};
        desktop.properties(portal.path) = {
            {saverEnabled, wrong.typeId() == QMetaType::Bool ? QVariant(saver) : wrong}};
        EXPECT_FALSE(refreshed());
        EXPECT_FALSE(source.isPerformanceDegraded());
    }
}

TEST_F(LowPowerSourceTest, aSteadyCycleAsksNothing) {
    PropertyPeer profiles(bus.address(), former.bus);
    profiles.properties(former.path) = {{activeProfile, saver}};
    listen();
    refreshed();
    const int calls = profiles.peer().calls();
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(refreshed());
    EXPECT_EQ(profiles.peer().calls(), calls);
}

TEST_F(LowPowerSourceTest, withoutASubscriptionEachRefreshAsks) {
    PropertyPeer profiles(bus.address(), former.bus);
    profiles.properties(former.path) = {{activeProfile, balanced}};
    EXPECT_FALSE(refreshed());
    profiles.properties(former.path) = {{activeProfile, saver}};
    EXPECT_TRUE(refreshed());
    EXPECT_EQ(executor.queued(), 1U);  // for those who may have subscribed by then
}

TEST_F(LowPowerSourceTest, aChangeThatComesWithoutItsValueIsReadByTheNextRefresh) {
    PropertyPeer profiles(bus.address(), former.bus);
    profiles.properties(former.path) = {{activeProfile, balanced}};
    listen();
    profiles.properties(former.path)[activeProfile] = saver;
    profiles.announce(former.path, former.interface, {}, {activeProfile});
    EXPECT_TRUE(eventually([&] { return refreshed(); }));
    EXPECT_TRUE(heard.empty());
    executor.runQueued();
    EXPECT_EQ(heard, std::vector<bool>{true});
}

TEST_F(LowPowerSourceTest, signalsOfOtherObjectsAndInterfacesAreNotOnes) {
    PropertyPeer profiles(bus.address(), former.bus);
    profiles.properties(former.path) = {{activeProfile, balanced}};
    listen();
    profiles.announce(QStringLiteral("/other"), former.interface, {{activeProfile, saver}}, {});
    profiles.announce(former.path, current.interface, {{activeProfile, saver}}, {});
    profiles.peer().emitSignal(former.path, QStringLiteral("org.freedesktop.DBus.Properties"),
                               QStringLiteral("PropertiesChanged"), {activeProfile, saver});
    profiles.announce(former.path, former.interface,
                      {{degraded, QStringLiteral("high-operating-temperature")}}, {});
    EXPECT_TRUE(eventually([&] { return source.isPerformanceDegraded(); }));
    EXPECT_FALSE(source.isLowPowerModeEnabled());
}

TEST_F(LowPowerSourceTest, aServiceThatNeverAnswersCostsOneWaitAndIsOff) {
    PropertyPeer profiles(bus.address(), former.bus);
    profiles.fallSilent();
    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(refreshed());
    EXPECT_GE(std::chrono::steady_clock::now() - before, BusService::callLimit / 2);
    const int calls = profiles.peer().calls();
    EXPECT_FALSE(refreshed());
    EXPECT_EQ(profiles.peer().calls(), calls);
}

TEST_F(LowPowerSourceTest, aServiceThatFallsSilentHasItsLastWord) {
    PropertyPeer profiles(bus.address(), former.bus);
    profiles.properties(former.path) = {{activeProfile, saver}};
    EXPECT_TRUE(refreshed());
    profiles.fallSilent();
    EXPECT_TRUE(refreshed());
    EXPECT_TRUE(refreshed());
}

TEST_F(LowPowerSourceTest, aServiceThatDiesInTheMiddleOfACallAndComesBackIsFollowed) {
    auto profiles = std::make_unique<PropertyPeer>(bus.address(), former.bus);
    profiles->properties(former.path) = {{activeProfile, saver}};
    listen();
    EXPECT_TRUE(refreshed());
    profiles->fallSilent();
    const int calls = profiles->peer().calls();
    profiles->announce(former.path, former.interface, {}, {activeProfile});
    std::atomic<bool> mustStop = false;
    auto refreshing = std::async(std::launch::async, [&] {
        while (!mustStop && source.isLowPowerModeEnabled()) source.refresh();
    });
    const auto stop = qScopeGuard([&] { mustStop = true; });
    ASSERT_TRUE(eventually([&] { return profiles->peer().calls() > calls; }));
    profiles->peer().leave();
    ASSERT_TRUE(eventually(
        [&] { return refreshing.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_FALSE(source.isLowPowerModeEnabled());
    profiles = std::make_unique<PropertyPeer>(bus.address(), former.bus);
    profiles->properties(former.path) = {{activeProfile, saver}};
    EXPECT_TRUE(eventually([&] { return refreshed(); }));
}

TEST_F(LowPowerSourceTest, aServiceThatRefusesHasNoWord) {
    PropertyPeer profiles(bus.address(), former.bus);
    profiles.refuse();
    root.write("firmware/acpi/platform_profile", "low-power\n");
    EXPECT_TRUE(refreshed());
}

TEST_F(LowPowerSourceTest, thePortalCountsWithoutTheService) {
    PropertyPeer desktop(bus.address(), portal.bus);
    desktop.properties(portal.path) = {{saverEnabled, false}};
    listen();
    EXPECT_FALSE(source.isLowPowerModeEnabled());
    desktop.change(portal.path, portal.interface, saverEnabled, true);
    EXPECT_TRUE(awaitHeard({true}));
    EXPECT_TRUE(refreshed());
    PropertyPeer profiles(bus.address(), former.bus);
    profiles.properties(former.path) = {{activeProfile, balanced}};
    EXPECT_TRUE(eventually([&] { return !refreshed(); }));
}

TEST_F(LowPowerSourceTest, theFirmwaresProfileCountsWithoutTheServiceAndBesideThePortalsNo) {
    const std::string profile = root.write("firmware/acpi/platform_profile", "low-power\n");
    EXPECT_TRUE(refreshed());
    PropertyPeer desktop(bus.address(), portal.bus);
    desktop.properties(portal.path) = {{saverEnabled, false}};
    EXPECT_TRUE(refreshed());
    for (const char* text : {"balanced\n", "low-power-ish\n", "", "\n", "performance"}) {
        root.write("firmware/acpi/platform_profile", text);
        EXPECT_FALSE(refreshed()) << text;
    }
    root.write("firmware/acpi/platform_profile", "low-power\n");
    PropertyPeer profiles(bus.address(), current.bus);
    profiles.properties(current.path) = {{activeProfile, balanced}};
    LinuxLowPowerSource fresh(connect(), connect(), root.path().string(), executor);
    onWorker([&] {
        fresh.refresh();
        return 0;
    });
    EXPECT_FALSE(fresh.isLowPowerModeEnabled());
}

TEST_F(LowPowerSourceTest, theRealServiceIsUnderstood) {
    const ServiceProgram profiles(bus.address(), former.bus,
                                  QStringLiteral("/usr/libexec/power-profiles-daemon"), {});
    ASSERT_TRUE(profiles.isOnBus()) << "power-profiles-daemon is needed";
    const MockService polkit(bus.address(), QStringLiteral("org.freedesktop.PolicyKit1"),
                             QStringLiteral("polkitd"));
    ASSERT_TRUE(polkit.isOnBus()) << "python3-dbusmock is needed";
    polkit.mock(QStringLiteral("/org/freedesktop/PolicyKit1/Authority"), QStringLiteral("AllowUnknown"),
                {true});
    listen();
    EXPECT_FALSE(source.isLowPowerModeEnabled());
    const auto setProfile = [&](const QString& profile) {
        profiles.call(former.path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"),
                      {former.interface, activeProfile, QVariant::fromValue(QDBusVariant(profile))});
    };
    setProfile(saver);
    EXPECT_TRUE(awaitHeard({true}));
    setProfile(balanced);
    EXPECT_TRUE(awaitHeard({true, false}));
}

TEST_F(LowPowerSourceTest, tenThousandRefreshesThatAskLeaveNoDescriptorOpen) {
    // A program of its own: nobody has to wake the main thread for its answers.
    const MockService desktop(bus.address(), portal.bus, portal.path, portal.interface);
    ASSERT_TRUE(desktop.isOnBus()) << "python3-dbusmock is needed";
    desktop.mock(portal.path, QStringLiteral("AddProperties"),
                 {portal.interface, QVariantMap{{saverEnabled, true}}});
    root.write("firmware/acpi/platform_profile", "balanced\n");
    EXPECT_TRUE(refreshed());
    const auto before = openDescriptors();
    onWorker([&] {
        for (int i = 0; i < 10'000; ++i) source.refresh();
        return 0;
    });
    EXPECT_EQ(openDescriptors(), before);
    desktop.setProperty(portal.path, portal.interface, saverEnabled, false);
    EXPECT_FALSE(refreshed());  // it asks, as nobody listens
}
