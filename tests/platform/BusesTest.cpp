// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/Buses.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QUuid>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "platform/linux/BusService.h"
#include "support/Eventually.h"
#include "support/MockService.h"
#include "support/PrivateBus.h"
#include "support/TempDirectory.h"

using namespace corvanta;
using namespace corvanta::test;
using namespace std::chrono_literals;

namespace {

using Variables = std::map<std::string, std::string>;

bool hasBus(const Variables& variables) {
    return hasSessionBus([&](const char* name) {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    });
}

/// Only its file matters: nobody listens at it.
void makeSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(descriptor);
}

/// A bus that ends and starts again at one address, and the connections to it.
class SystemBusTest : public testing::Test {
  protected:
    SystemBus systemBus(std::chrono::milliseconds pause = 0s) {
        return SystemBus(
            [this](const QString& name) {
                ++attempts;
                return QDBusConnection::connectToBus(address, prefix + name);
            },
            pause);
    }
    void restart() {
        bus.reset();
        bus = std::make_unique<PrivateBus>(address);
    }

    TempDirectory folder;
    const QString address = QStringLiteral("unix:path=") + QString::fromStdString(folder.file("bus"));
    const QString prefix = QUuid::createUuid().toString();
    std::unique_ptr<PrivateBus> bus = std::make_unique<PrivateBus>(address);
    int attempts = 0;
};

}  // namespace

TEST(SessionBus, isThereWhenTheVariableOrTheUsersSocketSaysSo) {
    const TempDirectory folder;
    const Variables runtime{{"XDG_RUNTIME_DIR", folder.path().string()}};
    EXPECT_FALSE(hasBus({}));
    EXPECT_FALSE(hasBus({{"DISPLAY", ":0"}}));
    EXPECT_FALSE(hasBus({{"DBUS_SESSION_BUS_ADDRESS", ""}}));
    EXPECT_FALSE(hasBus(runtime));
    EXPECT_TRUE(hasBus({{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/a"}}));
    folder.write("bus", "no socket");
    EXPECT_FALSE(hasBus(runtime));
    std::filesystem::remove(folder.file("bus"));
    makeSocket(folder.file("bus"));
    EXPECT_TRUE(hasBus(runtime));
}

TEST_F(SystemBusTest, oneConnectionServesAsLongAsItLasts) {
    SystemBus system = systemBus();
    ASSERT_TRUE(system.connection().isConnected());
    EXPECT_TRUE(system.connection().isConnected());
    EXPECT_EQ(attempts, 1);
}

TEST_F(SystemBusTest, aBusThatComesLateOrAgainIsFound) {
    bus.reset();
    SystemBus system = systemBus();
    EXPECT_FALSE(system.connection().isConnected());
    restart();
    const QDBusConnection first = system.connection();
    EXPECT_TRUE(first.isConnected());
    restart();
    ASSERT_TRUE(eventually([&] { return !first.isConnected(); }));
    const QDBusConnection second = system.connection();
    EXPECT_TRUE(second.isConnected());
    EXPECT_NE(second.name(), first.name());
}

TEST_F(SystemBusTest, withoutABusThereIsOneAttemptAtATime) {
    bus.reset();
    SystemBus system = systemBus(30s);
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(system.connection().isConnected());
    EXPECT_EQ(attempts, 1);
}

TEST_F(SystemBusTest, aServiceIsHeardAndAskedOverTheNewConnection) {
    const QString name = QStringLiteral("com.example.Peer");
    SystemBus system = systemBus();
    BusService service([&] { return system.connection(); }, {.name = name});
    int heard = 0;
    const auto subscription = service.subscribe([&](const QDBusMessage&) { ++heard; });
    const auto listens = [&] { return onWorker([&] { return service.listen(); }); };
    const auto ask = [&] {
        return onWorker([&] { return service.call(QStringLiteral("/"), name, QStringLiteral("Ask")).kind; });
    };
    ASSERT_TRUE(listens());
    EXPECT_EQ(ask(), BusAnswer::Kind::absent);  // which holds until it is heard to come

    bus.reset();
    ASSERT_TRUE(eventually([&] { return !listens(); }));
    const auto changes = service.changes();
    restart();
    BusPeer peer(address, name, [](const QDBusMessage& call) { return call.createReply(); });
    ASSERT_TRUE(eventually(listens));
    EXPECT_GT(service.changes(), changes);
    EXPECT_EQ(ask(), BusAnswer::Kind::reply);
    peer.leave();
    EXPECT_TRUE(eventually([&] { return heard > 0; }));
}
