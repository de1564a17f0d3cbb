// SPDX-License-Identifier: Apache-2.0
// What every source of the drives' self-assessment keeps to.
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <stop_token>
#include <vector>

#include "platform/DiskTree.h"
#include "platform/linux/LinuxDriveHealth.h"
#include "support/Eventually.h"
#include "support/FakeNetDisk.h"

namespace corvanta {
namespace {

using Reports = std::optional<std::vector<DriveReport>>;

struct FakeMachine {
    void removeDrives() { drives.setReports(std::nullopt); }
    void insertDrive() { drives.setReports({{{"Disk", std::nullopt}}}); }
    DriveHealthSource& source() { return drives; }

    test::FakeDriveHealthSource drives;
};

/// A machine without a disk service.
struct LinuxMachine {
    LinuxMachine() {
        tree.addDisk("sda", "8:0");
        tree.describe("sda", "model", "Disk\n");
    }
    void removeDrives() const { tree.mountRoot("overlay", "overlay"); }
    void insertDrive() {
        tree.addNode("/dev/sda", {8, 0});
        tree.mountRoot("/dev/sda");
    }
    DriveHealthSource& source() {
        return health.emplace([] { return QDBusConnection(QStringLiteral("none")); },
                              LinuxDriveHealth::Places{.procRoot = tree.proc(),
                                                       .sysRoot = tree.sys(),
                                                       .runRoot = tree.run(),
                                                       .deviceNumberOf = tree.deviceNumberOf(),
                                                       .searchPath = ""});
    }

    test::DiskTree tree;
    std::optional<LinuxDriveHealth> health;
};

template <class Machine>
class DriveHealthContract : public testing::Test {
  protected:
    Reports read(const std::stop_token& stop = {}) {
        return test::onWorker([&] { return machine.source().readDrives(std::chrono::seconds(60), stop); });
    }

    Machine machine;
};

using Machines = testing::Types<FakeMachine, LinuxMachine>;
TYPED_TEST_SUITE(DriveHealthContract, Machines);

TYPED_TEST(DriveHealthContract, aMachineWithoutADriveHasNoAnswer) {
    this->machine.removeDrives();
    EXPECT_EQ(this->read(), std::nullopt);
}

TYPED_TEST(DriveHealthContract, aDriveHasOneReport) {
    this->machine.insertDrive();
    EXPECT_EQ(this->read(), (Reports{{{"Disk", std::nullopt}}}));
}

TYPED_TEST(DriveHealthContract, aReadingThatIsCalledOffHasNoAnswerThoughThereIsADrive) {
    this->machine.insertDrive();
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(this->read(stop.get_token()), std::nullopt);
    EXPECT_EQ(this->read(), (Reports{{{"Disk", std::nullopt}}}));
}

}  // namespace
}  // namespace corvanta
