// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxDriveHealth.h"

#include <gtest/gtest.h>

#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QStringList>
#include <filesystem>
#include <string>

#include "monitoring/collectors/DiskMonitor.h"
#include "platform/DiskTree.h"
#include "platform/MockUdisks.h"
#include "platform/OpenDescriptors.h"
#include "support/Eventually.h"
#include "support/MockService.h"
#include "support/PrivateBus.h"

namespace corvanta {
namespace {

using namespace std::chrono_literals;
using namespace test;
using Reports = std::optional<std::vector<DriveReport>>;
using Clock = std::chrono::steady_clock;

const QString name = QLatin1String(MockUdisks::busName);

using SentInterfaces = QMap<QString, QVariantMap>;
using SentObjects = QMap<QDBusObjectPath, SentInterfaces>;

/// The service's answer about a disk of the number 8:0.
QVariant failingDisk() {
    qDBusRegisterMetaType<SentInterfaces>();
    qDBusRegisterMetaType<SentObjects>();
    const QDBusObjectPath drive(QStringLiteral("/drive"));
    return QVariant::fromValue(
        SentObjects{{QDBusObjectPath(QStringLiteral("/block")),
                     {{QStringLiteral("org.freedesktop.UDisks2.Block"),
                       {{QStringLiteral("DeviceNumber"), qulonglong(gnu_dev_makedev(8, 0))},
                        {QStringLiteral("Drive"), QVariant::fromValue(drive)}}}}},
                    {drive,
                     {{QStringLiteral("org.freedesktop.UDisks2.Drive"),
                       {{QStringLiteral("Model"), QStringLiteral("Heard")}}},
                      {QStringLiteral("org.freedesktop.UDisks2.Drive.Ata"),
                       {{QStringLiteral("SmartSupported"), true},
                        {QStringLiteral("SmartEnabled"), true},
                        {QStringLiteral("SmartUpdated"), qulonglong(1)},
                        {QStringLiteral("SmartFailing"), true}}}}}});
}

class LinuxDriveHealthTest : public testing::Test {
  protected:
    LinuxDriveHealthTest() {
        tree.addDisk("sda", "8:0");
        tree.addPartition("sda", "sda2", "8:2");
        tree.addNode("/dev/sda2", {8, 2});
        tree.mountRoot("/dev/sda2");
    }

    LinuxDriveHealth::Places places() const {
        return {.procRoot = tree.proc(),
                .sysRoot = tree.sys(),
                .runRoot = tree.run(),
                .deviceNumberOf = tree.deviceNumberOf(),
                .searchPath = tree.folder().file("bin")};
    }
    BusService::Connect connect() const {
        return [address = bus.address()] { return connectionTo(address, QStringLiteral("drives")); };
    }
    Reports read(std::chrono::seconds limit = 60s, const std::stop_token& stop = {}) {
        LinuxDriveHealth health(connect(), places());
        return onWorker([&] { return health.readDrives(limit, stop); });
    }
    /// A program in place of smartctl.
    void installSmartctl(const std::string& script) const {
        const std::string path = tree.folder().write("bin/smartctl", "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(path, std::filesystem::perms(0755));
    }
    /// A root that stands on all of these, each of named for its kernel name.
    void mirror(const std::vector<std::string>& disks) {
        tree.addDisk("sdb", "8:16");
        tree.addDisk("sdc", "8:32");
        tree.addLayer("md0", "9:0", disks);
        tree.addNode("/dev/md0", {9, 0});
        tree.mountRoot("/dev/md0");
        for (const std::string& disk : disks) tree.describe(disk, "model", "Model of " + disk);
    }
    static QDBusMessage never(const QDBusMessage&) { return {}; }

    PrivateBus bus;
    DiskTree tree;
};

TEST_F(LinuxDriveHealthTest, theServiceHasTheFirstWord) {
    tree.describe("sda", "model", "Samsung SSD 860\n");
    installSmartctl(R"(echo '{"model_name":"wrong","smart_status":{"passed":false}}')");
    for (const bool isFailing : {false, true}) {
        const MockUdisks udisks(bus.address());
        ASSERT_TRUE(udisks.isOnBus());
        udisks.tellAta(isFailing);
        EXPECT_EQ(read(), (Reports{{{"Samsung SSD 860 EVO 500GB", isFailing ? "Failing" : "Verified"}}}));
    }
}

TEST_F(LinuxDriveHealthTest, theServiceTellsOfAnNvmeDrive) {
    const MockUdisks udisks(bus.address());
    udisks.describeDrive(QStringLiteral("org.freedesktop.UDisks2.NVMe.Controller"),
                         {{QStringLiteral("SmartUpdated"), qulonglong(5)},
                          {QStringLiteral("SmartCriticalWarning"), QStringList{QStringLiteral("spare")}}});
    EXPECT_EQ(read(), (Reports{{{"Samsung SSD 860 EVO 500GB", "Failing"}}}));
}

TEST_F(LinuxDriveHealthTest, aServiceWithoutAVerdictLeavesThatToOthersAndKeepsTheName) {
    const MockUdisks udisks(bus.address());
    EXPECT_EQ(read(), (Reports{{{"Samsung SSD 860 EVO 500GB", std::nullopt}}}));
    installSmartctl(R"(echo '{"model_name":"other","smart_status":{"passed":true}}')");
    EXPECT_EQ(read(), (Reports{{{"Samsung SSD 860 EVO 500GB", "PASSED"}}}));
}

TEST_F(LinuxDriveHealthTest, withoutAServiceFlashSpeaksForItselfBeforeSmartctl) {
    tree.describe("sda", "name", "DG4016\n");
    tree.describe("sda", "pre_eol_info", "0x02\n");
    installSmartctl(R"(echo '{"smart_status":{"passed":true}}')");
    EXPECT_EQ(read(), (Reports{{{"DG4016", "Failing"}}}));
}

TEST_F(LinuxDriveHealthTest, withoutAServiceSmartctlIsAskedForTheWholeDisk) {
    tree.describe("sda", "model", "short\n");
    installSmartctl(R"(printf '{"model_name":"%s","smart_status":{"passed":false}}' "$4"; exit 8)");
    EXPECT_EQ(read(), (Reports{{{"/dev/sda", "FAILED!"}}}));
}

TEST_F(LinuxDriveHealthTest, withoutAnyVerdictTheModelRemains) {
    tree.record("8:0", "E:ID_MODEL_ENC=WDC\\x20WD10EZEX\n");
    EXPECT_EQ(read(), (Reports{{{"WDC WD10EZEX", std::nullopt}}}));
    installSmartctl("exit 2");
    EXPECT_EQ(read(), (Reports{{{"WDC WD10EZEX", std::nullopt}}}));
}

TEST_F(LinuxDriveHealthTest, aDiskThatSaysNothingAtAllIsNoAnswer) {
    EXPECT_EQ(read(), std::nullopt);
}

TEST_F(LinuxDriveHealthTest, aRootWithoutADiskIsNoAnswerAndNobodyIsAsked) {
    const BusPeer peer(bus.address(), name, never);
    tree.mountRoot("overlay", "overlay");
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_EQ(peer.calls(), 0);
}

TEST_F(LinuxDriveHealthTest, aMirrorHasOneReportForEachDiskAndTheFailingOneLast) {
    mirror({"sda", "sdb", "sdc"});
    tree.describe("sdc", "model", "");
    installSmartctl(R"(case $4 in
        /dev/sda) echo '{"smart_status":{"passed":false}}'; exit 8;;
        /dev/sdb) echo '{"smart_status":{"passed":true}}';;
        *) exit 2;; esac)");
    const Reports reports = read();
    EXPECT_EQ(reports, (Reports{{{"Model of sdb", "PASSED"}, {"Model of sda", "FAILED!"}}}));
    EXPECT_EQ(DiskMonitor::verdictOf(*reports),
              (DiskMonitor::DriveVerdict{.status = SMARTStatus::failing, .model = "Model of sda"}));
}

TEST_F(LinuxDriveHealthTest, aNameWithoutAVerdictDoesNotHideTheDriveThatHasOne) {
    mirror({"sda", "sdb"});
    installSmartctl(R"([ $4 = /dev/sda ] && echo '{"smart_status":{"passed":true}}')");
    const Reports reports = read();
    EXPECT_EQ(reports, (Reports{{{"Model of sdb", std::nullopt}, {"Model of sda", "PASSED"}}}));
    EXPECT_EQ(DiskMonitor::verdictOf(*reports),
              (DiskMonitor::DriveVerdict{.status = SMARTStatus::verified, .model = "Model of sda"}));
}

TEST_F(LinuxDriveHealthTest, aFailingDriveWithoutANameGoesByTheKernels) {
    mirror({"sda", "sdb"});
    tree.describe("sdb", "model", "");
    installSmartctl(R"([ $4 = /dev/sda ] && echo '{"smart_status":{"passed":true}}' ||
        echo '{"smart_status":{"passed":false}}')");
    const Reports reports = read();
    EXPECT_EQ(reports, (Reports{{{"Model of sda", "PASSED"}, {"sdb", "FAILED!"}}}));
    EXPECT_EQ(DiskMonitor::verdictOf(*reports),
              (DiskMonitor::DriveVerdict{.status = SMARTStatus::failing, .model = "sdb"}));
}

TEST_F(LinuxDriveHealthTest, aServiceThatAnswersWithOtherTypesHasNothingToSay) {
    tree.describe("sda", "model", "Disk\n");
    BusPeer peer(bus.address(), name, never);
    for (const QVariant& answer :
         {QVariant(QStringLiteral("text")), QVariant(7), QVariant(QVariantMap{{QStringLiteral("a"), 1}}),
          QVariant(QStringList{QStringLiteral("/a")})}) {
        peer.setAnswer([answer](const QDBusMessage& call) { return call.createReply(answer); });
        EXPECT_EQ(read(), (Reports{{{"Disk", std::nullopt}}})) << answer.typeName();
    }
    peer.setAnswer([](const QDBusMessage& call) { return call.createReply(); });
    EXPECT_EQ(read(), (Reports{{{"Disk", std::nullopt}}}));
    peer.setAnswer([](const QDBusMessage& call) {
        return call.createErrorReply(QDBusError::AccessDenied, QStringLiteral("no"));
    });
    EXPECT_EQ(read(), (Reports{{{"Disk", std::nullopt}}}));
}

TEST_F(LinuxDriveHealthTest, aServiceThatHangsLeavesTimeForTheOthers) {
    const BusPeer peer(bus.address(), name, never);
    installSmartctl(R"(echo '{"model_name":"Disk","smart_status":{"passed":true}}')");
    const auto start = Clock::now();
    EXPECT_EQ(read(3s), (Reports{{{"Disk", "PASSED"}}}));
    EXPECT_GE(Clock::now() - start, 2s);
    EXPECT_GT(peer.calls(), 1);
}

TEST_F(LinuxDriveHealthTest, whenAllHangTheLimitHoldsAndTheModelRemains) {
    tree.describe("sda", "model", "Disk\n");
    const BusPeer peer(bus.address(), name, never);
    installSmartctl("exec sleep 600");
    const auto start = Clock::now();
    EXPECT_EQ(read(2s), (Reports{{{"Disk", std::nullopt}}}));
    EXPECT_GE(Clock::now() - start, 2s);
    EXPECT_LT(Clock::now() - start, 20s);
}

TEST_F(LinuxDriveHealthTest, aServiceThatDiesInTheMiddleOfACallHasNothingToSay) {
    tree.describe("sda", "model", "Disk\n");
    BusPeer peer(bus.address(), name, never);
    LinuxDriveHealth health(connect(), places());
    const auto start = Clock::now();
    auto reading = std::async(std::launch::async, [&] { return health.readDrives(600s, {}); });
    ASSERT_TRUE(eventually([&] { return peer.calls() == 1; }));
    peer.leave();
    ASSERT_TRUE(eventually([&] { return reading.wait_for(0s) == std::future_status::ready; }));
    EXPECT_EQ(reading.get(), (Reports{{{"Disk", std::nullopt}}}));
    EXPECT_LT(Clock::now() - start, 60s);
}

TEST_F(LinuxDriveHealthTest, aServiceThatHangsIsAskedAgainAndHeardOnceItGoesOn) {
    tree.describe("sda", "model", "Disk\n");
    tree.describe("sda", "pre_eol_info", "0x01\n");
    BusPeer peer(bus.address(), name, never);
    LinuxDriveHealth health(connect(), places());
    auto reading = std::async(std::launch::async, [&] { return health.readDrives(60s, {}); });
    ASSERT_TRUE(eventually([&] { return peer.calls() == 2; }));
    EXPECT_NE(reading.wait_for(0s), std::future_status::ready);
    peer.setAnswer([](const QDBusMessage& call) { return call.createReply(failingDisk()); });
    ASSERT_TRUE(eventually([&] { return reading.wait_for(0s) == std::future_status::ready; }));
    EXPECT_EQ(reading.get(), (Reports{{{"Heard", "Failing"}}}));
}

TEST_F(LinuxDriveHealthTest, aReadingThatIsCalledOffEndsSoon) {
    tree.describe("sda", "model", "Disk\n");
    BusPeer peer(bus.address(), name, never);
    LinuxDriveHealth health(connect(), places());
    std::stop_source stop;
    const auto start = Clock::now();
    auto reading = std::async(std::launch::async, [&] { return health.readDrives(600s, stop.get_token()); });
    ASSERT_TRUE(eventually([&] { return peer.calls() == 1; }));
    stop.request_stop();
    ASSERT_TRUE(eventually([&] { return reading.wait_for(0s) == std::future_status::ready; }));
    EXPECT_EQ(reading.get(), std::nullopt);
    EXPECT_LT(Clock::now() - start, 30s);
    EXPECT_EQ(peer.calls(), 1);
}

TEST_F(LinuxDriveHealthTest, withoutABusTheOthersAreAsked) {
    tree.describe("sda", "model", "Disk\n");
    LinuxDriveHealth health([] { return QDBusConnection(QStringLiteral("none")); }, places());
    EXPECT_EQ(onWorker([&] { return health.readDrives(60s, {}); }), (Reports{{{"Disk", std::nullopt}}}));
}

TEST_F(LinuxDriveHealthTest, manyReadingsLeaveNothingOpen) {
    tree.describe("sda", "model", "Disk\n");
    const BusPeer peer(bus.address(), name,
                       [](const QDBusMessage& call) { return call.createReply(QVariant(7)); });
    LinuxDriveHealth health(connect(), places());
    const auto readOnce = [&] { return health.readDrives(60s, {}); };
    ASSERT_TRUE(onWorker(readOnce));  // connects
    const std::size_t before = openDescriptors();
    onWorker([&] {
        for (int i = 0; i < 200; ++i) readOnce();
        return true;
    });
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace corvanta
